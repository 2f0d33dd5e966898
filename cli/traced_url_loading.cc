#include "cli/traced_url_loading.h"

#include <mutex>
#include <utility>

namespace zor::cli {

class TracedURLSession final : public URLSession {
 public:
  TracedURLSession(TracedURLLoading& owner, std::unique_ptr<URLSession> real)
      : _owner(owner), _real(std::move(real)) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    _owner.begin();
    const auto start = std::chrono::steady_clock::now();
    _real->startDataTask(request, [&owner = _owner, method = request.method, url = request.url,
                                   start, completion = std::move(completion)](
                                      const auto& body, const auto& response, const auto& error) {
      const TracedExchange exchange{method, url, response ? response->statusCode : 0, error,
                                    std::chrono::steady_clock::now() - start};
      owner.end(exchange, [&] { completion(body, response, error); });
    });
  }

 private:
  TracedURLLoading& _owner;
  const std::unique_ptr<URLSession> _real;
};

TracedURLLoading::TracedURLLoading(URLLoadingPort& real, Observer observer)
    : _real(real), _observer(std::move(observer)) {}

std::unique_ptr<URLSession> TracedURLLoading::createSession(
    std::weak_ptr<URLSessionDelegate> delegate, OperationQueue& queue) {
  return std::make_unique<TracedURLSession>(*this, _real.createSession(std::move(delegate), queue));
}

void TracedURLLoading::begin() {
  const std::lock_guard<std::mutex> lock(_mutex);
  ++_underWay;
}

void TracedURLLoading::end(const TracedExchange& exchange,
                           const std::function<void()>& completion) {
  if (_observer) {
    const std::lock_guard<std::mutex> lock(_observing);
    _observer(exchange);
  }
  completion();  // Before the count goes down: it may start the next exchange of a chain.
  const std::lock_guard<std::mutex> lock(_mutex);
  if (--_underWay == 0) _idle.notify_all();
}

void TracedURLLoading::waitUntilIdle(std::chrono::milliseconds limit) {
  std::unique_lock<std::mutex> lock(_mutex);
  _idle.wait_for(lock, limit, [this] { return _underWay == 0; });
}

}  // namespace zor::cli
