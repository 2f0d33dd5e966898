// Runs all exchanges of the process with one curl multi handle on one thread; what the module
// exports.
#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/net/c_handles.h"
#include "platform/linux/net/library_gate.h"
#include "platform/linux/net/net_module.h"
#include "platform/linux/net/socket_watch.h"
#include "platform/linux/net/transfer.h"
#include "support/mutex.h"
#include "support/signals_blocked.h"

namespace zor::net {

class CurlLoader final : public Loader {
 public:
  // `gate` outlives it.
  explicit CurlLoader(LibraryGate& gate) : _gate(gate) {}

  void start(std::unique_ptr<Exchange> exchange) noexcept override;

  // Called before the first start(), from inside the gate. False: they cannot be set up.
  static bool setUpLibraries() noexcept;

  // Called at exit, before the libraries tear themselves down. Keeps the thread outside of them
  // from then on, and waits up to kMaxWaitAtGate until it is; a thread that is inside for longer,
  // verifying a chain or reading roots, stops as soon as it is back.
  void leaveLibraries() noexcept ZOR_EXCLUDES(_mutex);

  pid_t process() const { return _process; }

 private:
  using Exchanges = std::vector<std::unique_ptr<Exchange>>;
  using Transfers = std::vector<std::unique_ptr<Transfer>>;

  // Everything that the thread's connections need.
  struct Connections {
    SocketWatch watch;  // First, so that it is destroyed last.
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

  // The thread's id while it may ask delegates, else the default one. Not thread_local: leak
  // checkers report thread-local storage of dlopened modules.
  std::atomic<std::thread::id> _threadId;

  // The thread is inside while it runs curl or OpenSSL, except while it waits, and while it asks
  // delegates; never while it delivers a result.
  LibraryGate& _gate;
  SystemRoots _roots;  // Only inside.
  const pid_t _process = ::getpid();

  // Guards the members below. Under it only the thread is started, curl is woken and connections
  // are cut off.
  Mutex _mutex{LockRank::loader};
  Exchanges _waiting ZOR_GUARDED_BY(_mutex);
  bool _running ZOR_GUARDED_BY(_mutex) = false;
  Connections* _connections ZOR_GUARDED_BY(_mutex) = nullptr;  // The thread's, while it has some.
};

namespace {

// How long the idle thread and the kept connections stay.
constexpr std::chrono::milliseconds kIdleTime{30000};
// curl's own timers end a wait earlier when one is due.
constexpr std::chrono::milliseconds kMaxWait{60000};
// If a wait cannot be ended from outside, because the system had no descriptors to spare for that.
constexpr std::chrono::milliseconds kMaxDeafWait{50};
constexpr std::chrono::milliseconds kPauseAfterFailedWait{10};

using Clock = std::chrono::steady_clock;
// The time until a transfer has to be checked.
std::chrono::milliseconds maxWait(const std::vector<std::unique_ptr<Transfer>>& underWay,
                                  bool canBeWoken, Clock::time_point now) {
  if (underWay.empty()) return kIdleTime;
  auto wait = canBeWoken ? kMaxWait : kMaxDeafWait;
  for (const auto& transfer : underWay) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(transfer->nextLook(now) - now);
    wait = std::clamp(left, std::chrono::milliseconds(0), wait);
  }
  return wait;
}

// Waits until there may be something to do. True: the idle time is over.
bool waitForWorkOrIdleEnd(CURLM* multi, const std::vector<std::unique_ptr<Transfer>>& underWay,
                          bool canBeWoken) {
  const bool isIdle = underWay.empty();
  // The next request gets a new handle, for which there may be descriptors again.
  if (isIdle && !canBeWoken) return true;
  const auto start = Clock::now();
  const auto limit = static_cast<int>(maxWait(underWay, canBeWoken, start).count());
  const CURLMcode result = curl_multi_poll(multi, nullptr, 0, limit, nullptr);
  const bool isOver = Clock::now() - start >= kIdleTime;
  // A wait that fails at once must not make the thread spin until the transfers time out.
  if (result != CURLM_OK && !isIdle) std::this_thread::sleep_for(kPauseAfterFailedWait);
  return isIdle && (isOver || result != CURLM_OK);
}

[[noreturn]] void stayHere() {
  for (;;) ::pause();  // Every signal is blocked.
}

}  // namespace

void CurlLoader::start(std::unique_ptr<Exchange> exchange) noexcept {
  {
    const MutexLock lock(_mutex);
    if (_running || startThread()) {
      _waiting.push_back(std::move(exchange));
      if (_connections != nullptr) curl_multi_wakeup(_connections->multi.get());
      return;
    }
  }
  exchange->finish(
      {{},
       {},
       Failure{URLErrorCode::resourceUnavailable, "The system has no thread to load URLs with."}});
}

bool CurlLoader::startThread() {
  try {
    const SignalsBlocked signalsBlocked;
    std::thread(&CurlLoader::run, this).detach();
    _running = true;
  } catch (const std::exception&) {  // No thread or no memory to be had.
    return false;
  }
  return true;
}

void CurlLoader::run() noexcept {
  ::pthread_setname_np(::pthread_self(), "zor-net");
  _threadId = std::this_thread::get_id();
  Connections connections;
  open(connections);
  // Without descriptors to be woken by, curl still makes its handle; only this call reveals it.
  const bool canBeWoken = curl_multi_wakeup(connections.multi.get()) == CURLM_OK;
  Transfers underWay;
  bool idleTimeIsOver = false;
  while (!idleTimeIsOver || !retire()) {
    for (const auto& transfer : advance(connections, takeWaiting(), underWay)) {
      transfer->deliver();
    }
    idleTimeIsOver = waitForWorkOrIdleEnd(connections.multi.get(), underWay, canBeWoken);
  }
  close(connections);
}

void CurlLoader::open(Connections& connections) {
  {
    const InsideLibraries inside(_gate);
    if (inside) connections.multi.reset(curl_multi_init());
  }
  const MutexLock lock(_mutex);
  _connections = &connections;
}

void CurlLoader::close(Connections& connections) {
  {
    const InsideLibraries inside(_gate);
    if (inside) {
      connections.multi.reset();
      OPENSSL_thread_stop();
      return;
    }
  }
  stayHere();
}

CurlLoader::Exchanges CurlLoader::takeWaiting() {
  const MutexLock lock(_mutex);
  return std::exchange(_waiting, {});
}

CurlLoader::Transfers CurlLoader::advance(Connections& connections, Exchanges arrived,
                                          Transfers& underWay) {
  {
    const InsideLibraries inside(_gate);
    if (inside) {
      CURLM* const multi = connections.multi.get();
      Transfers ended = begin(connections, std::move(arrived), underWay);
      int count = 0;
      curl_multi_perform(multi, &count);
      collect(multi, underWay, ended);
      collectOverdue(multi, underWay, ended);
      if (ended.empty()) _roots.prepare();
      if (!_gate.isClosed()) return ended;
      // Exchanges that the exit has cut off are not reported as failures.
      std::move(ended.begin(), ended.end(), std::back_inserter(underWay));
    }
  }
  stayHere();
}

CurlLoader::Transfers CurlLoader::begin(Connections& connections, Exchanges arrived,
                                        Transfers& underWay) {
  CURLM* const multi = connections.multi.get();
  Transfers failed;
  for (auto& exchange : arrived) {
    auto transfer = std::make_unique<Transfer>(std::move(exchange), _roots, connections.watch);
    if (!transfer->prepare()) {
      failed.push_back(std::move(transfer));
    } else if (curl_multi_add_handle(multi, transfer->handle()) != CURLM_OK) {
      transfer->end(CURLE_FAILED_INIT);
      failed.push_back(std::move(transfer));
    } else {
      underWay.push_back(std::move(transfer));
    }
  }
  return failed;
}

void CurlLoader::collect(CURLM* multi, Transfers& underWay, Transfers& ended) {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode result = message->data.result;
    curl_multi_remove_handle(multi, handle);  // This also frees the message.
    const auto place =
        std::find_if(underWay.begin(), underWay.end(),
                     [handle](const auto& transfer) { return transfer->handle() == handle; });
    (*place)->end(result);
    ended.push_back(std::move(*place));
    underWay.erase(place);
  }
}

void CurlLoader::collectOverdue(CURLM* multi, Transfers& underWay, Transfers& ended) {
  const auto now = Clock::now();
  const auto overdue =
      std::stable_partition(underWay.begin(), underWay.end(),
                            [now](const auto& transfer) { return transfer->hasTimeLeft(now); });
  for (auto transfer = overdue; transfer != underWay.end(); ++transfer) {
    curl_multi_remove_handle(multi, (*transfer)->handle());
    (*transfer)->end(CURLE_OPERATION_TIMEDOUT);
    ended.push_back(std::move(*transfer));
  }
  underWay.erase(overdue, underWay.end());
}

bool CurlLoader::retire() {
  const MutexLock lock(_mutex);
  if (!_waiting.empty()) return false;
  _connections = nullptr;
  _running = false;
  _threadId = std::thread::id();  // No delegate is asked any more, and ids are reused.
  return true;
}

bool CurlLoader::setUpLibraries() noexcept {
  return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK && OPENSSL_init_ssl(0, nullptr) == 1;
}

void CurlLoader::leaveLibraries() noexcept {
  // Delegates are asked inside the gate. If one of them ends the process, there is no other thread
  // to wait for.
  if (_threadId == std::this_thread::get_id()) return;
  _gate.close();
  {
    const MutexLock lock(_mutex);
    if (_connections != nullptr) _connections->watch.cutOff();
  }
  _gate.waitUntilOutside(kMaxWaitAtGate);
}

namespace {

std::atomic<CurlLoader*> processLoader{nullptr};

// curl appends the secrets of its connections to the file that this variable names, even in
// programs with raised privileges, so the caller of such a program could have a file written with
// another user's rights. It reads the variable once, when it is set up.
bool callerWantsSecretsWritten() {
  return ::getauxval(AT_SECURE) != 0 && std::getenv("SSLKEYLOGFILE") != nullptr;
}

bool isOfThisProcess(const CurlLoader* loader) {
  return loader != nullptr && loader->process() == ::getpid();
}

// Runs at exit, before the libraries tear themselves down.
void leaveLibraries() {
  // A child that has made no loader of its own still has its parent's, which has no thread here.
  if (isOfThisProcess(processLoader)) processLoader.load()->leaveLibraries();
}

bool callAtExit() {
  static constinit bool registered = false;  // Children of a fork inherit what is registered.
  if (!registered) registered = std::atexit(leaveLibraries) == 0;
  return registered;
}

Loader* makeLoader(LibraryGate& gate) noexcept {
  if (callerWantsSecretsWritten()) return nullptr;
  // Before any other call of OpenSSL, which would otherwise register an exit handler that frees
  // what a thread may be setting up. Without effect if the host has initialized OpenSSL; its
  // handler is then registered already, and ours, registered later, still runs first.
  if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) return nullptr;
  if (!isOfThisProcess(processLoader)) processLoader = new (std::nothrow) CurlLoader(gate);
  if (processLoader == nullptr || !callAtExit()) return nullptr;
  return CurlLoader::setUpLibraries() ? processLoader.load() : nullptr;
}

}  // namespace
}  // namespace zor::net

extern "C" __attribute__((visibility("default"))) const zor::net::Module* zor_net_module() {
  static constexpr zor::net::Module module{ZOR_NET_INTERFACE, zor::net::makeLoader};
  return &module;
}
