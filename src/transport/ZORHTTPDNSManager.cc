#include "transport/ZORHTTPDNSManager.h"

#include <atomic>
#include <string_view>
#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "session/ZORHttpsURLSession.h"
#include "support/error_codes.h"
#include "support/guarded_call.h"
#include "support/text.h"
#include "support/url.h"
#include "transport/failure_pingback.h"

namespace zor {
namespace {

constexpr std::uint64_t kResolverAttempts = 1;

template <typename Block>
void append(std::vector<Block>& list, const Block& block) {
  if (block) list.push_back(block);
}

URLRequest plainRequest(std::string url) {
  URLRequest request;
  request.url = std::move(url);
  return request;
}

ZORError statusError(const std::string& url) {
  return {literals::kHttpDnsStatusErrorDomain.str(), kErrorHttpDnsStatus,
          formatText(literals::kHttpDnsStatusErrorFormat.view(), {url})};
}

ZORError noAddressesError() {
  return {literals::kHttpDnsAnswerErrorDomain.str(), kErrorHttpDnsNoAddresses,
          literals::kHttpDnsAnswerErrorText.str()};
}

ZORError routeOffError() {
  return {literals::kHttpDnsAnswerErrorDomain.str(), kErrorHttpDnsNoAddresses,
          literals::kHttpDnsOffText.str()};
}

std::atomic<const std::shared_ptr<ZORHTTPDNSManager>*> scopedInstance{nullptr};

void sendPingback(const std::optional<URLResponse>& response, const std::optional<ZORError>& error,
                  const std::string& url) {
  sendExchangePingback(literals::kPingbackTypeHttpDnsFailed.str(),
                       literals::kPingbackHttpDnsFormat.view(), response, error,
                       url.empty() ? std::nullopt : std::optional(url));
}

}  // namespace

std::optional<std::string> httpDnsUrl(std::string_view format,
                                      const std::optional<std::string>& address,
                                      const std::string& host) {
  const auto authority = address ? urlAddress(*address) : std::nullopt;
  if (!authority || !urlHost(host)) return std::nullopt;
  return formatText(format, {authority, host});
}

std::vector<std::string> httpDnsAddresses(const URLResponse& response) {
  const auto answer = response.header(literals::kHttpDnsAnswerHeader.str());
  if (!answer || answer->empty()) return {};
  return split(*answer, literals::kHttpDnsSeparator.view());
}

std::shared_ptr<ZORHTTPDNSManager> ZORHTTPDNSManager::sharedInstance() {
  if (const auto* replacement = scopedInstance.load(std::memory_order_acquire)) return *replacement;
  static constinit MadeOnce<const std::shared_ptr<ZORHTTPDNSManager>> instance;
  return instance.get(
      [] { return std::make_unique<const std::shared_ptr<ZORHTTPDNSManager>>(create()); });
}

std::shared_ptr<ZORHTTPDNSManager> ZORHTTPDNSManager::create(ZORHttpDnsConfig config) {
  return std::make_shared<ZORHTTPDNSManager>(Private{}, std::move(config));
}

ZORHTTPDNSManager::ZORHTTPDNSManager(Private, ZORHttpDnsConfig config)
    : _config(std::move(config)), _session(ZORHttpsURLSession::create()) {}

ZORHTTPDNSManager::~ZORHTTPDNSManager() = default;

void ZORHTTPDNSManager::resolveIpForHost(const std::string& host, const SuccessBlock& success,
                                         const FailureBlock& failed, const Deadline& deadline) {
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    state._deadline = deadline;
  }
  if (const auto ips = ipsForHost(host); ips && !ips->empty()) {
    if (success) callIgnoringExceptions(success, *ips);
    return;
  }
  if (_config.isOff()) {
    const ZORError error = routeOffError();
    sendPingback(std::nullopt, error, "");
    if (failed) callIgnoringExceptions(failed, error);
    return;
  }
  addResolveCallback(success, failed, host);
  resolveHttpDnsForHostIfNeed(host);
}

std::optional<std::vector<std::string>> ZORHTTPDNSManager::ipsForHost(const std::string& host) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  const auto found = state._resolvedResults.find(host);
  if (found == state._resolvedResults.end()) return std::nullopt;
  return found->second;
}

std::optional<std::string> ZORHTTPDNSManager::ipForHost(const std::string& host,
                                                        std::int64_t /*index*/) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  const auto found = state._resolvedResults.find(host);
  if (found == state._resolvedResults.end() || found->second.empty()) return std::nullopt;
  return found->second.front();
}

bool ZORHTTPDNSManager::checkIfNeedResolveHost(const std::string& host) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  return state._resolvedStatus.count(host) == 0;
}

void ZORHTTPDNSManager::resolveHttpDnsForHostIfNeed(const std::string& host) {
  const std::string serviceHost = _config.httpDnsHost();
  if (const auto ips = ipsForHost(serviceHost); ips && !ips->empty()) {
    resolveHost(host);
    return;
  }
  addResolveCallback(
      [weakSelf = weak_from_this(), host](const std::vector<std::string>&) {
        if (const auto self = weakSelf.lock()) self->resolveHost(host);
      },
      [weakSelf = weak_from_this(), host](const std::optional<ZORError>& error) {
        if (const auto self = weakSelf.lock()) self->sheduleFailedCallbackForHost(host, error);
      },
      serviceHost);
  resolveHttpDns();
}

void ZORHTTPDNSManager::addResolveCallback(const SuccessBlock& success, const FailureBlock& failed,
                                           const std::string& host) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  Callbacks& callbacks = state._callbacks[host];
  append(callbacks.success, success);
  append(callbacks.failed, failed);
}

void ZORHTTPDNSManager::resolveHttpDns() {
  std::optional<std::string> address;
  const std::string serviceHost = _config.httpDnsHost();
  if (const auto& ips = _config.ips(); !ips.empty()) {
    address = ips[ports().random.randomNumber() % ips.size()];
  }
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    if (!state._resolvedStatus.insert(serviceHost).second)
      return;  // Its result answers the blocks.
  }
  auto url = httpDnsUrl(literals::kHttpDnsBootstrapFormat.view(), address, serviceHost);
  // Deliberate: the host stays marked, so later callers that ask for it get no answer.
  if (!url) return;
  sendResolveRequest(plainRequest(std::move(*url)), serviceHost);
}

void ZORHTTPDNSManager::resolveHost(const std::string& host) {
  std::int64_t failedCount = 0;
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    failedCount = state._hostFailedCount;
    // Deliberate: only a look-up under way prevents another; a known host is looked up again.
    if (!state._resolvedStatus.insert(host).second) return;
  }
  const auto address = ipForHost(_config.httpDnsHost(), failedCount);
  // Without a usable address the request has no URL. It is sent all the same: the loader refuses
  // it, and the look-up ends like any that failed.
  sendResolveRequest(
      plainRequest(httpDnsUrl(literals::kHttpDnsQueryFormat.view(), address, host).value_or("")),
      host);
}

void ZORHTTPDNSManager::sendResolveRequest(URLRequest request, const std::string& host) {
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    request.deadline = state._deadline;
  }
  // The blocks keep the resolver alive until they have run.
  const auto self = shared_from_this();
  sendRequest(
      request,
      [self, host](const std::optional<Data>&, const URLResponse& response) {
        const auto ips = httpDnsAddresses(response);
        if (!ips.empty()) {
          self->resolveHostResult(host, ResolvedResults{{host, ips}});
        } else {
          self->resolveHostFailed(host, std::optional(noAddressesError()));
        }
      },
      [self, host](const std::optional<URLResponse>&, const std::optional<ZORError>& error) {
        self->resolveHostFailed(host, error);
      });
}

void ZORHTTPDNSManager::sendRequest(const URLRequest& request, const RequestSuccess& success,
                                    const RequestFailure& failed) {
  _session->performRequestRetryCount(
      request, kResolverAttempts,
      [success, failed, url = request.url](const std::optional<Data>& body,
                                           const std::optional<URLResponse>& response,
                                           const std::optional<ZORError>& error) {
        if (zor_isRequestSuccess(body, response, error)) {
          success(body, *response);
          return;
        }
        if (!error && response) {
          // Deliberate: this error is not passed on. The report below and the block get the
          // transport's error, which is absent.
          [[maybe_unused]] const ZORError unused = statusError(response->url);
        }
        sendPingback(response, error, url);
        failed(response, error);
      });
}

void ZORHTTPDNSManager::resolveHostResult(const std::string& host, const ResolvedResults& result) {
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    state._hostFailedCount = 0;
    for (const auto& [resolved, ips] : result) state._resolvedResults[resolved] = ips;
  }
  sheduleSuccessCallbackForHost(host);
}

void ZORHTTPDNSManager::resolveHostFailed(const std::string& host,
                                          const std::optional<ZORError>& failed) {
  bool repeats = false;
  {
    State& state = _state.get();
    const MutexLock lock(state.mutext);
    repeats = state._hostFailedCount < _hostRetryCount;
    if (repeats) {
      ++state._hostFailedCount;
      state._resolvedStatus.erase(host);
    }
  }
  if (!repeats) {
    sheduleFailedCallbackForHost(host, failed);
  } else if (host == _config.httpDnsHost()) {
    resolveHttpDns();
  } else {
    resolveHost(host);
  }
}

void ZORHTTPDNSManager::sheduleSuccessCallbackForHost(const std::string& host) {
  const Callbacks callbacks = takeCallbacks(host);
  const auto ips = ipsForHost(host).value_or(std::vector<std::string>());
  for (const SuccessBlock& success : callbacks.success) callIgnoringExceptions(success, ips);
}

void ZORHTTPDNSManager::sheduleFailedCallbackForHost(const std::string& host,
                                                     const std::optional<ZORError>& error) {
  const Callbacks callbacks = takeCallbacks(host);
  for (const FailureBlock& failed : callbacks.failed) callIgnoringExceptions(failed, error);
}

// The look-up of `host` is over: removes its mark and takes the waiting callbacks in one step.
ZORHTTPDNSManager::Callbacks ZORHTTPDNSManager::takeCallbacks(const std::string& host) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  Callbacks callbacks;
  if (const auto found = state._callbacks.find(host); found != state._callbacks.end()) {
    callbacks = std::move(found->second);
    state._callbacks.erase(found);
  }
  state._resolvedStatus.erase(host);
  return callbacks;
}

ScopedHTTPDNSManager::ScopedHTTPDNSManager(std::shared_ptr<ZORHTTPDNSManager> replacement)
    : _replacement(std::move(replacement)), _previous(scopedInstance.exchange(&_replacement)) {}

ScopedHTTPDNSManager::~ScopedHTTPDNSManager() { scopedInstance.store(_previous); }

}  // namespace zor
