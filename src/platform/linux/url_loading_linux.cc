// URL loading by the network module. All loaders share one module, one thread and the kept
// connections; the module is opened at the first request. Where it cannot be opened each request
// ends with URLErrorCode::resourceUnavailable and a log line.
#include <utility>

#include "literals/literals.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/net_module_linux.h"
#include "platform/operation_queue.h"

namespace zor {
namespace {

using Options = std::shared_ptr<const URLLoadingOptions>;

std::optional<ZORError> errorOf(const std::optional<net::Failure>& failure) {
  if (!failure) return std::nullopt;
  return ZORError{literals::kURLErrorDomain.str(), static_cast<std::int64_t>(failure->code),
                  failure->description};
}

class SessionExchange final : public net::Exchange {
 public:
  // `queue` outlives it.
  SessionExchange(URLRequest request, Options options, std::weak_ptr<URLSessionDelegate> delegate,
                  OperationQueue& queue, TransportCompletion completion)
      : _request(std::move(request)),
        _options(std::move(options)),
        _delegate(std::move(delegate)),
        _queue(queue),
        _completion(std::move(completion)) {}

  const URLRequest& request() const override { return _request; }
  const std::vector<std::string>& connectTo() const override { return _options->connectTo; }
  std::shared_ptr<URLSessionDelegate> delegate() const override { return _delegate.lock(); }

  void finish(net::ExchangeResult outcome) noexcept override {
    _queue.addOperation([completion = std::move(_completion), outcome = std::move(outcome)] {
      if (completion) completion(outcome.body, outcome.response, errorOf(outcome.failure));
    });
  }

 private:
  const URLRequest _request;
  const Options _options;
  const std::weak_ptr<URLSessionDelegate> _delegate;
  OperationQueue& _queue;
  TransportCompletion _completion;  // Moved from at the end.
};

class LinuxURLSession final : public URLSession {
 public:
  // `queue` outlives it.
  LinuxURLSession(Options options, std::weak_ptr<URLSessionDelegate> delegate,
                  OperationQueue& queue)
      : _options(std::move(options)), _delegate(std::move(delegate)), _queue(queue) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    auto exchange = std::make_unique<SessionExchange>(request, _options, _delegate, _queue,
                                                      std::move(completion));
    if (net::Loader* const loader = netLoader()) {
      loader->start(std::move(exchange));
      _queue.prepare();  // While the exchange is under way.
    } else {
      exchange->finish({{},
                        {},
                        net::Failure{URLErrorCode::resourceUnavailable,
                                     "The network module cannot be opened."}});
    }
  }

 private:
  const Options _options;
  const std::weak_ptr<URLSessionDelegate> _delegate;
  OperationQueue& _queue;
};

class LinuxURLLoading final : public URLLoadingPort {
 public:
  explicit LinuxURLLoading(URLLoadingOptions options = {})
      : _options(std::make_shared<const URLLoadingOptions>(std::move(options))) {}

  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override {
    return std::make_unique<LinuxURLSession>(_options, std::move(delegate), queue);
  }

 private:
  const Options _options;
};

}  // namespace

std::unique_ptr<URLLoadingPort> makeURLLoading(URLLoadingOptions options) {
  return std::make_unique<LinuxURLLoading>(std::move(options));
}

URLLoadingPort& linuxURLLoadingPort() {
  static constinit MadeOnce<LinuxURLLoading> port;
  return port.get();
}

}  // namespace zor
