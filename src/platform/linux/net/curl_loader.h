// Runs all exchanges of the process with one curl multi handle on one thread.
#ifndef ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_
#define ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_

#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "platform/linux/net/c_handles.h"
#include "platform/linux/net/library_gate.h"
#include "platform/linux/net/net_module.h"
#include "platform/linux/net/socket_watch.h"
#include "platform/linux/net/transfer.h"
#include "support/mutex.h"

namespace zor::net {

class CurlLoader final : public Loader {
 public:
  // `gate` outlives it.
  explicit CurlLoader(LibraryGate& gate) : _gate(gate) {}

  void start(std::unique_ptr<Exchange> exchange) noexcept override;

  // Before the first start(), from inside the gate. False: they cannot be set up.
  static bool setUpLibraries() noexcept;

  // At exit, before the libraries tear themselves down: when it returns, the thread is outside of
  // them and stays there. Waits kMaxWaitAtGate for that; a thread that is inside for longer,
  // verifying a chain or reading roots, stops as soon as it is back.
  void leaveLibraries() noexcept ZOR_EXCLUDES(_mutex);

  pid_t process() const { return _process; }

 private:
  using Exchanges = std::vector<std::unique_ptr<Exchange>>;
  using Transfers = std::vector<std::unique_ptr<Transfer>>;

  // What the thread's connections live in.
  struct Connections {
    SocketWatch watch;  // First, so that it goes last.
    CurlMulti multi;
  };

  // False: the system has none to spare.
  bool startThread() ZOR_REQUIRES(_mutex);

  // The rest runs on the thread.
  void run() noexcept;
  void open(Connections& connections) ZOR_EXCLUDES(_mutex);
  void close(Connections& connections);
  Exchanges takeWaiting() ZOR_EXCLUDES(_mutex);
  // One round of work. Returns what has ended.
  Transfers advance(Connections& connections, Exchanges arrived, Transfers& underWay);
  // Returns what failed at once.
  Transfers begin(Connections& connections, Exchanges arrived, Transfers& underWay);
  static void collect(CURLM* multi, Transfers& underWay, Transfers& ended);
  static void collectOverdue(CURLM* multi, Transfers& underWay, Transfers& ended);
  // False: new work has come.
  bool retire() ZOR_EXCLUDES(_mutex);

  // The thread's while it may ask delegates, else nobody's. Not thread_local: leak checkers report
  // thread-local storage of dlopened modules.
  std::atomic<std::thread::id> _threadId;

  // The thread is inside while it runs curl or OpenSSL, except for waiting, and while delegates are
  // asked; never while a result is delivered.
  LibraryGate& _gate;
  SystemRoots _roots;  // Only inside.
  const pid_t _process = ::getpid();

  // Guards the members below. Nothing is called under it but the start of the thread, curl's
  // wake-up and the cutting off of connections.
  Mutex _mutex{LockRank::loader};
  Exchanges _waiting ZOR_GUARDED_BY(_mutex);
  bool _running ZOR_GUARDED_BY(_mutex) = false;
  Connections* _connections ZOR_GUARDED_BY(_mutex) = nullptr;  // The thread's, while it has some.
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_
