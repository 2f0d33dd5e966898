// Runs all exchanges of the process with one curl multi handle on one thread.
#ifndef ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_
#define ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "platform/linux/net/c_handles.h"
#include "platform/linux/net/net_module.h"
#include "platform/linux/net/socket_watch.h"
#include "platform/linux/net/transfer.h"
#include "support/mutex.h"

namespace zor::net {

class CurlLoader final : public Loader {
 public:
  void start(std::unique_ptr<Exchange> exchange) noexcept override;
  void holdForFork() noexcept override;
  void releaseInParent() noexcept override;
  void startAfreshInChild() noexcept override;

  // Before the first start(). False: they cannot be set up, or the process is already exiting.
  bool setUpLibraries() noexcept ZOR_EXCLUDES(_libraryMutex);

  // At exit, before the libraries tear themselves down: when it returns, the thread is outside of
  // them and stays there. Waits kMaxExitWait for that; a thread that is inside for longer,
  // verifying a chain or reading roots, stops as soon as it is back.
  void leaveLibraries() noexcept ZOR_EXCLUDES(_libraryMutex, _mutex);

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
  void open(Connections& connections) ZOR_EXCLUDES(_libraryMutex, _mutex);
  void close(Connections& connections) ZOR_EXCLUDES(_libraryMutex);
  Exchanges takeWaiting() ZOR_EXCLUDES(_mutex);
  // One round of work. Returns what has ended.
  Transfers advance(Connections& connections, Exchanges arrived, Transfers& underWay)
      ZOR_EXCLUDES(_libraryMutex);
  // Returns what failed at once.
  Transfers begin(Connections& connections, Exchanges arrived, Transfers& underWay)
      ZOR_REQUIRES(_libraryMutex);
  static void collect(CURLM* multi, Transfers& underWay, Transfers& ended);
  static void collectOverdue(CURLM* multi, Transfers& underWay, Transfers& ended);
  // False: new work has come.
  bool retire() ZOR_EXCLUDES(_mutex);

  // The thread's while it may ask delegates, else nobody's. Not thread_local: leak checkers report
  // thread-local storage of dlopened modules.
  std::atomic<std::thread::id> _threadId;

  // Held while the libraries are set up, and by the thread while it is inside curl or OpenSSL,
  // except for waiting, and while delegates are asked: taken before every other lock of the
  // process. Never held while an outcome is delivered. Whoever takes it keeps the thread out of the
  // libraries.
  Mutex _libraryMutex;
  std::atomic<bool> _leaving{false};  // Looked at under the lock before the libraries are entered.
  SystemRoots _roots ZOR_GUARDED_BY(_libraryMutex);

  // Guards the members below. Taken after every other lock; nothing is called under it but the
  // start of the thread and curl's wake-up.
  Mutex _mutex;
  Exchanges _waiting ZOR_GUARDED_BY(_mutex);
  bool _running ZOR_GUARDED_BY(_mutex) = false;
  Connections* _connections ZOR_GUARDED_BY(_mutex) = nullptr;  // The thread's, while it has some.
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_CURL_LOADER_H_
