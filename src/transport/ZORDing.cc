#include "transport/ZORDing.h"

#include <cstdint>
#include <tuple>
#include <utility>

#include "consent/consent.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "session/ZORHttpsURLSession.h"
#include "support/url.h"
#include "transport/ZORHTTPDNSManager.h"
#include "transport/backup_list.h"
#include "transport/failure_pingback.h"
#include "transport/total_time.h"

namespace zor {
namespace {

constexpr std::uint64_t kServiceAttempts = 2;

// An operator may have none. A list kept from an earlier time is then not used.
bool hasBackupService() { return !literals::kBackupURL.view().empty(); }

// The host that certificates must match. Never absent: that would accept certificates for any host.
std::string expectedHost(const URLRequest& request) { return hostOfUrl(request.url).value_or(""); }

// `ips` is not empty.
const std::string& chooseOne(const std::vector<std::string>& ips) {
  return ips[ports().random.randomNumber() % ips.size()];
}

// What a chain of attempts is for.
struct Call {
  URLRequest request;
  TransportCompletion handler;
  ZORDing::RouteObserver onRoute;

  void nowBy(zor_fingerprint_route route) const {
    if (onRoute) onRoute(route);
  }
};

// The last route. Without a backup address, or if the runner is gone, the values at hand are final.
void performByBackup(const std::weak_ptr<ZORDing>& weakRunner, const Call& call,
                     const std::optional<Data>& body, const std::optional<URLResponse>& response,
                     const std::optional<ZORError>& error) {
  const auto runner = weakRunner.lock();
  const auto backupIP = runner ? runner->randomBackupIP() : std::nullopt;
  if (backupIP && !backupIP->empty() && !call.request.isOverdue()) {
    call.nowBy(ZOR_FINGERPRINT_ROUTE_BACKUP);
    runner->performRequestUsingBackupIP(call.request, *backupIP, call.handler);
  } else {
    zor_callBlock(call.handler, body, response, error);
  }
}

// The second route, by one of the addresses that the resolver found.
void performByAddress(const std::weak_ptr<ZORDing>& weakRunner, const Call& call,
                      const std::vector<std::string>& ips) {
  const auto runner = weakRunner.lock();
  if (!runner) return;
  call.nowBy(ZOR_FINGERPRINT_ROUTE_ADDRESS);
  runner->urlSession()->performRequestRetryCount(
      zor_replaceHostForRequest(chooseOne(ips), call.request), kServiceAttempts,
      [weakRunner, call](const auto& body, const auto& response, const auto& error) {
        // Deliberate: the result is ignored. Even after a success a backup address is tried.
        performByBackup(weakRunner, call, body, response, error);
      });
}

// After the first route has failed with these values.
void performByOtherRoutes(const std::weak_ptr<ZORDing>& weakRunner, const Call& call,
                          const std::string& host, const std::optional<Data>& body,
                          const std::optional<URLResponse>& response) {
  call.nowBy(ZOR_FINGERPRINT_ROUTE_RESOLVER);
  ZORHTTPDNSManager::sharedInstance()->resolveIpForHost(
      host, [weakRunner, call](const auto& ips) { performByAddress(weakRunner, call, ips); },
      [weakRunner, call, body, response](const auto& resolverError) {
        performByBackup(weakRunner, call, body, response, resolverError);
      },
      call.request.deadline);
}

// Fetches the backup list by one of the addresses that the resolver found for its service.
void fetchBackupByAddress(const std::weak_ptr<ZORDing>& weakRunner, const URLRequest& request,
                          const std::vector<std::string>& ips, const std::string& host) {
  const auto runner = weakRunner.lock();
  if (!runner) return;
  // Deliberate: on the session of the service, so the certificate is judged for the host of the
  // runner's latest request, not for the backup service's.
  runner->urlSession()->performRequestRetryCount(
      zor_replaceHostForRequest(chooseOne(ips), request), kServiceAttempts,
      [weakRunner, host](const auto& body, const auto& response, const auto& error) {
        if (!zor_isRequestSuccess(body, response, error)) {
          sendErrorPingback(literals::kPingbackTypeBackupFailed.str(),
                            literals::kPingbackBackupFormat.view(), error, host);
        } else if (const auto self = weakRunner.lock()) {
          self->saveCloudBackup(body);
        }
      });
}

void fetchBackupByHttpDns(const std::weak_ptr<ZORDing>& weakRunner, const URLRequest& request,
                          const std::string& host) {
  ZORHTTPDNSManager::sharedInstance()->resolveIpForHost(
      host,
      [weakRunner, request, host](const auto& ips) {
        fetchBackupByAddress(weakRunner, request, ips, host);
      },
      [host](const auto& resolverError) {
        sendErrorPingback(literals::kPingbackTypeBackupUnresolved.str(),
                          literals::kPingbackBackupUnresolvedFormat.view(), resolverError, host);
      });
}

}  // namespace

URLRequest zor_replaceHostForRequest(const std::string& host, const URLRequest& request) {
  URLRequest replaced = request;
  replaced.url = urlByReplacingHost(request.url, host).value_or("");
  return replaced;
}

std::shared_ptr<ZORDing> ZORDing::create() { return std::make_shared<ZORDing>(Private{}); }

ZORDing::ZORDing(Private)
    : _urlSession(ZORHttpsURLSession::create()), _backupUrlSession(ZORHttpsURLSession::create()) {}

void ZORDing::performRequest(const URLRequest& request, const TransportCompletion& handler,
                             const RouteObserver& onRoute) {
  const std::string host = expectedHost(request);
  const Call call{request, request.deadline ? endingAt(*request.deadline, handler) : handler,
                  onRoute};
  _urlSession->setAcceptHost(host);
  call.nowBy(ZOR_FINGERPRINT_ROUTE_NAME);
  _urlSession->performRequestRetryCount(
      request, kServiceAttempts,
      [weakSelf = weak_from_this(), call, host](const auto& body, const auto& response,
                                                const auto& error) {
        if (zor_isRequestSuccess(body, response, error)) {
          zor_callBlock(call.handler, body, response, error);
          return;
        }
        sendExchangePingback(literals::kPingbackTypeRouteFailed.str(),
                             literals::kPingbackRouteFormat.view(), response, error, host);
        if (call.request.isOverdue()) return zor_callBlock(call.handler, body, response, error);
        performByOtherRoutes(weakSelf, call, host, body, response);
      });
  requestBackupIp();
}

void ZORDing::performRequestUsingBackupIP(const URLRequest& request, const std::string& backupIP,
                                          const TransportCompletion& handler) {
  _urlSession->performRequestRetryCount(zor_replaceHostForRequest(backupIP, request),
                                        kServiceAttempts, handler);
}

void ZORDing::requestBackupIp() {
  if (!hasBackupService()) return;
  URLRequest request;
  request.url = literals::kBackupURL.str();
  const std::string host = expectedHost(request);
  _backupUrlSession->setAcceptHost(host);
  const auto ended = [weakSelf = weak_from_this(), request, host](
                         const auto& body, const auto& response, const auto& error) {
    if (!zor_isRequestSuccess(body, response, error)) {
      fetchBackupByHttpDns(weakSelf, request, host);
    } else if (const auto self = weakSelf.lock()) {
      self->saveCloudBackup(body);
    }
  };
  _backupUrlSession->performRequestRetryCount(request, kServiceAttempts, ended);
}

void ZORDing::saveCloudBackup(const std::optional<Data>& body) {
  const auto document = body ? documentInBackupAnswer(*body) : std::nullopt;
  if (!document || !isPermitted()) return;
  if (document->empty()) {
    std::ignore = ports().defaults.removeObject(backupAddressesKey());
  } else {
    std::ignore = ports().defaults.setObject(backupAddressesKey(), *document);
    if (!isPermitted()) std::ignore = ports().defaults.removeObject(backupAddressesKey());
  }
}

std::optional<std::string> ZORDing::randomBackupIP() {
  if (!hasBackupService()) return std::nullopt;
  const auto ips = loadBackupIPs();
  if (ips == nullptr) return std::nullopt;
  return chooseOne(*ips);
}

std::shared_ptr<const std::vector<std::string>> ZORDing::loadBackupIPs() {
  BackupList& list = _backupList.get();
  {
    const MutexLock lock(list.mutex);
    if (list._backupIPs != nullptr) return list._backupIPs;
  }
  const auto kept = ports().defaults.objectForKey(backupAddressesKey());
  if (!kept || kept->text() == nullptr) return nullptr;
  auto ips = addressesInBackupDocument(*kept->text());
  if (ips.empty()) return nullptr;
  const MutexLock lock(list.mutex);
  if (list._backupIPs == nullptr) {
    list._backupIPs = std::make_shared<const std::vector<std::string>>(std::move(ips));
  }
  return list._backupIPs;
}

}  // namespace zor
