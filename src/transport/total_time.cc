#include "transport/total_time.h"

#include <ZORFingerPrint/ZORErrors.h>

#include <exception>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/operation_queue.h"
#include "session/ZORHttpsURLSession.h"
#include "support/mutex.h"
#include "support/signals_blocked.h"

namespace zor {
namespace {

using Clock = std::chrono::steady_clock;

ZORError totalTimeError() {
  return {literals::kFingerprintErrorDomain.str(), ZOR_FINGERPRINT_ERROR_TOTAL_TIME,
          literals::kTotalTimeMessage.str()};
}

// The side that takes the handler calls it. Shared by the request's chain and the thread that
// waits.
class Handler {
 public:
  explicit Handler(TransportCompletion handler) : _handler(std::move(handler)) {}

  // Empty if it was already taken or dropped.
  TransportCompletion take() ZOR_EXCLUDES(_mutex) {
    const MutexLock lock(_mutex);
    _isTaken = true;
    _changed.notifyAll();
    return std::exchange(_handler, {});
  }

  void waitUntilTakenOr(Clock::time_point end) ZOR_EXCLUDES(_mutex) {
    const MutexLock lock(_mutex);
    while (!_isTaken && Clock::now() < end) _changed.waitUntil(_mutex, end);
  }

 private:
  // Guards the members below; nothing is called under it.
  Mutex _mutex;
  ConditionVariable _changed;
  TransportCompletion _handler ZOR_GUARDED_BY(_mutex);
  bool _isTaken ZOR_GUARDED_BY(_mutex) = false;
};

// The chain's side: ends the wait when the chain is gone.
class ChainEnd {
 public:
  explicit ChainEnd(std::shared_ptr<Handler> handler) : _handler(std::move(handler)) {}
  ~ChainEnd() { std::ignore = _handler->take(); }
  ChainEnd(const ChainEnd&) = delete;
  ChainEnd& operator=(const ChainEnd&) = delete;

  Handler& handler() const { return *_handler; }

 private:
  const std::shared_ptr<Handler> _handler;
};

void waitAndEnd(const std::shared_ptr<Handler>& handler, Clock::time_point deadline) noexcept try {
  handler->waitUntilTakenOr(deadline);
  TransportCompletion due = handler->take();
  if (!due) return;
  zor_httpsOperationQueue().addOperation(
      [due = std::move(due)] { zor_callBlock(due, std::nullopt, std::nullopt, totalTimeError()); });
} catch (...) {  // NOLINT(bugprone-empty-catch): no memory to call it, now or later.
}

void startWaiting(const std::shared_ptr<Handler>& handler, Clock::time_point deadline) {
  try {
    const SignalsBlocked signalsBlocked;
    std::thread([handler, deadline] { waitAndEnd(handler, deadline); }).detach();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): see the header.
  }
}

}  // namespace

TransportCompletion endingAt(Clock::time_point deadline, const TransportCompletion& handler) {
  const auto shared = std::make_shared<Handler>(handler);
  startWaiting(shared, deadline);
  return [deadline, chain = std::make_shared<const ChainEnd>(shared)](
             const auto& body, const auto& response, const auto& error) {
    const TransportCompletion due = chain->handler().take();
    if (Clock::now() >= deadline && !zor_isRequestSuccess(body, response, error)) {
      zor_callBlock(due, std::nullopt, std::nullopt, totalTimeError());
    } else {
      zor_callBlock(due, body, response, error);
    }
  };
}

}  // namespace zor
