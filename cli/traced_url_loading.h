// URL loading that keeps an account of every exchange.
#ifndef ZOR_CLI_TRACED_URL_LOADING_H_
#define ZOR_CLI_TRACED_URL_LOADING_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/url_loading_port.h"

namespace zor::cli {

// One finished exchange.
struct TracedExchange {
  std::string method;
  std::string url;
  int statusCode = 0;  // 0: no response.
  std::optional<ZORError> error;
  std::chrono::duration<double, std::milli> duration{};
};

// Passes everything on to another loader. Callable from any thread; outlives its sessions' tasks.
class TracedURLLoading final : public URLLoadingPort {
 public:
  using Observer = std::function<void(const TracedExchange& exchange)>;

  // `real` outlives this object. `observer` may be empty; it is called on the session's queue,
  // before the exchange's own completion, one call at a time.
  TracedURLLoading(URLLoadingPort& real, Observer observer);

  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override;

  // Waits until no exchange is in flight, but no longer than `limit`. A program that exits at once
  // would cut off what the library does in the background, such as fetching backup addresses.
  void waitUntilIdle(std::chrono::milliseconds limit);

 private:
  friend class TracedURLSession;
  void begin();
  void end(const TracedExchange& exchange, const std::function<void()>& completion);

  URLLoadingPort& _real;
  const Observer _observer;
  std::mutex _observing;  // Held while the observer runs.

  // Guards the count. Nothing is called under it.
  std::mutex _mutex;
  std::condition_variable _idle;
  std::size_t _underWay = 0;
};

}  // namespace zor::cli

#endif  // ZOR_CLI_TRACED_URL_LOADING_H_
