#include "platform/linux/net/curl_loader.h"

#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <thread>
#include <utility>

#include "support/signals_blocked.h"

namespace zor::net {
namespace {

// How long the thread and the kept connections stay when there is nothing to do.
constexpr std::chrono::milliseconds kIdleTime{30000};
// curl's own timers end a wait earlier where one is due.
constexpr int kMaxWaitMilliseconds = 60000;
// Where nobody can end a wait, as the system had no descriptors to spare for that.
constexpr int kMaxDeafWaitMilliseconds = 50;
constexpr std::chrono::milliseconds kPauseAfterFailedWait{10};

int maxWaitMilliseconds(bool isIdle, bool canBeWoken) {
  if (isIdle) return static_cast<int>(kIdleTime.count());
  return canBeWoken ? kMaxWaitMilliseconds : kMaxDeafWaitMilliseconds;
}

// Returns when there may be something to do. True: the idle time is over.
bool waitForWorkOrIdleEnd(CURLM* multi, bool isIdle, bool canBeWoken) {
  // The next request gets a new handle, which may find descriptors again.
  if (isIdle && !canBeWoken) return true;
  const auto start = std::chrono::steady_clock::now();
  const int limit = maxWaitMilliseconds(isIdle, canBeWoken);
  const CURLMcode result = curl_multi_poll(multi, nullptr, 0, limit, nullptr);
  const bool isOver = std::chrono::steady_clock::now() - start >= kIdleTime;
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
      if (_multi != nullptr) curl_multi_wakeup(_multi);
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
  CurlMulti multi = openMulti();
  // curl makes its handle all the same when it has no descriptors to be woken by; only this tells.
  const bool canBeWoken = curl_multi_wakeup(multi.get()) == CURLM_OK;
  Transfers underWay;
  bool idleTimeIsOver = false;
  while (!idleTimeIsOver || !retire()) {
    for (const auto& transfer : advance(multi.get(), takeWaiting(), underWay)) transfer->deliver();
    idleTimeIsOver = waitForWorkOrIdleEnd(multi.get(), underWay.empty(), canBeWoken);
  }
  close(std::move(multi));
}

CurlMulti CurlLoader::openMulti() {
  CurlMulti multi;
  {
    const MutexLock lock(_libraryMutex);
    if (!_leaving) multi.reset(curl_multi_init());
  }
  const MutexLock lock(_mutex);
  _multi = multi.get();
  return multi;
}

void CurlLoader::close(CurlMulti multi) {
  {
    const MutexLock lock(_libraryMutex);
    if (!_leaving) {
      multi.reset();
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

CurlLoader::Transfers CurlLoader::advance(CURLM* multi, Exchanges arrived, Transfers& underWay) {
  {
    const MutexLock lock(_libraryMutex);
    if (!_leaving) {
      Transfers ended = begin(multi, std::move(arrived), underWay);
      int count = 0;
      curl_multi_perform(multi, &count);
      collect(multi, underWay, ended);
      if (ended.empty()) _roots.prepare();
      return ended;
    }
  }
  stayHere();
}

CurlLoader::Transfers CurlLoader::begin(CURLM* multi, Exchanges arrived, Transfers& underWay) {
  Transfers failed;
  for (auto& exchange : arrived) {
    auto transfer = std::make_unique<Transfer>(std::move(exchange), _roots);
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
    curl_multi_remove_handle(multi, handle);  // The message goes with it.
    const auto place =
        std::find_if(underWay.begin(), underWay.end(),
                     [handle](const auto& transfer) { return transfer->handle() == handle; });
    (*place)->end(result);
    ended.push_back(std::move(*place));
    underWay.erase(place);
  }
}

bool CurlLoader::retire() {
  const MutexLock lock(_mutex);
  if (!_waiting.empty()) return false;
  _multi = nullptr;
  _running = false;
  _threadId = std::thread::id();  // No delegate is asked any more, and the next thread may have it.
  return true;
}

// An exit that comes meanwhile waits in leaveLibraries().
bool CurlLoader::setUpLibraries() noexcept {
  const MutexLock lock(_libraryMutex);
  return !_leaving && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK &&
         OPENSSL_init_ssl(0, nullptr) == 1;
}

void CurlLoader::leaveLibraries() noexcept {
  // A delegate that ends the process is asked under the lock; then there is nobody to wait for.
  if (_threadId == std::this_thread::get_id()) return;
  const MutexLock lock(_libraryMutex);
  _leaving = true;
}

void CurlLoader::holdForFork() noexcept ZOR_NO_THREAD_SAFETY_ANALYSIS {
  _libraryMutex.lock();
  _mutex.lock();
}

void CurlLoader::releaseInParent() noexcept ZOR_NO_THREAD_SAFETY_ANALYSIS {
  _mutex.unlock();
  _libraryMutex.unlock();
}

// The parent's multi handle, transfers and sockets are left as they are: whatever was done to them
// here would be seen by the parent's servers. The exchanges that waited are never destroyed, not
// even at exit: what they own may wait for a lock of a thread that is not here.
void CurlLoader::startAfreshInChild() noexcept ZOR_NO_THREAD_SAFETY_ANALYSIS {
  new (&_waiting) Exchanges;
  _multi = nullptr;
  _running = false;
  _threadId = std::thread::id();
  _mutex.unlock();
  _libraryMutex.unlock();
}

}  // namespace zor::net
