#include "sandbox/routes.h"

#include <arpa/inet.h>

#include <algorithm>
#include <set>
#include <utility>

#include "sandbox/profile_words.h"

namespace zor::sandbox {
namespace {

constexpr std::string_view kPlaceholder = "%@";

bool contains(const std::vector<std::string>& list, const std::string& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool isLoopbackName(std::string_view host) {
  constexpr std::string_view kEnd = ".localhost";
  return host == "localhost" ||
         (host.size() > kEnd.size() && host.substr(host.size() - kEnd.size()) == kEnd);
}

}  // namespace

UrlParts partsOfUrl(std::string_view url) {
  UrlParts parts;
  const std::size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
  const std::string_view authority = url.substr(0, std::min(url.find('/'), url.size()));
  parts.target = std::string(url.substr(authority.size()));
  const std::size_t colon = authority.rfind(':');
  parts.host = std::string(authority.substr(0, std::min(colon, authority.size())));
  parts.port = colon == std::string_view::npos ? "443" : std::string(authority.substr(colon + 1));
  return parts;
}

std::string hostWithoutPort(const std::string& hostHeader) {
  return hostHeader.substr(0, hostHeader.rfind(':'));
}

bool isIPv4Address(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isLoopbackAddress(const std::string& address) {
  return isIPv4Address(address) && startsWith(address, "127.");
}

std::optional<std::string> RoutingTable::Question::read(const std::string& target) const {
  if (before.empty()) return std::nullopt;  // The profile has no such service.
  if (target.size() < before.size() + after.size() || !startsWith(target, before)) {
    return std::nullopt;
  }
  const std::size_t size = target.size() - before.size() - after.size();
  if (target.substr(before.size() + size) != after) return std::nullopt;
  return target.substr(before.size(), size);
}

RoutingTable::RoutingTable(const SandboxSettings& settings)
    : _bootstrapAddresses(settings.bootstrapAddresses),
      _queryAddresses(settings.queryAddresses),
      _serviceAddresses(settings.serviceAddresses),
      _backupAddresses(settings.backupAddresses),
      _fingerprint(partsOfUrl(words::kFingerprintURL.view())),
      _backup(partsOfUrl(words::kBackupURL.view())),
      _pingback(partsOfUrl(words::kPingbackURL.view())),
      _bootstrapUrl(partsOfUrl(words::kHttpDnsBootstrapFormat.view())),
      _queryUrl(partsOfUrl(words::kHttpDnsQueryFormat.view())) {
  const auto question = [](const std::string& target) {
    const std::size_t hole = target.find(kPlaceholder);
    if (hole == std::string::npos) return Question{target, ""};
    return Question{target.substr(0, hole), target.substr(hole + kPlaceholder.size())};
  };
  _bootstrap = question(_bootstrapUrl.target);
  _query = question(_queryUrl.target);
}

std::optional<Route> RoutingTable::ofAddress(const std::string& localAddress) const {
  if (contains(_backupAddresses, localAddress)) return Route::backupAddress;
  if (contains(_serviceAddresses, localAddress)) return Route::address;
  if (contains(_queryAddresses, localAddress)) return Route::query;
  if (contains(_bootstrapAddresses, localAddress)) return Route::bootstrap;
  return std::nullopt;
}

Route RoutingTable::ofConnection(const std::string& localAddress,
                                 const std::string& serverName) const {
  if (serverName.empty()) return ofAddress(localAddress).value_or(Route::unknown);
  if (serverName == _fingerprint.host) return Route::name;
  if (serverName == _backup.host) return Route::backupService;
  if (serverName == _pingback.host) return Route::pingback;
  return ofAddress(localAddress).value_or(Route::unknown);
}

Route RoutingTable::ofRequest(const std::string& localAddress, const std::string& hostHeader,
                              const std::string& target) const {
  if (target == _fingerprint.target) {
    if (!isIPv4Address(hostWithoutPort(hostHeader))) return Route::name;
    const Route byAddress = ofAddress(localAddress).value_or(Route::address);
    return byAddress == Route::backupAddress ? Route::backupAddress : Route::address;
  }
  if (target == _backup.target) return Route::backupService;
  if (target == _pingback.target) return Route::pingback;
  const bool asksBootstrap = _bootstrap.read(target).has_value();
  const bool asksQuery = _query.read(target).has_value();
  if (asksBootstrap && asksQuery) {
    return contains(_queryAddresses, localAddress) ? Route::query : Route::bootstrap;
  }
  if (asksBootstrap) return Route::bootstrap;
  return asksQuery ? Route::query : Route::unknown;
}

std::optional<std::string> RoutingTable::resolvedHost(const std::string& target) const {
  if (auto host = _bootstrap.read(target)) return host;
  return _query.read(target);
}

std::vector<std::string> RoutingTable::hostNames() const {
  std::vector<std::string> names;
  for (const UrlParts* url : {&_fingerprint, &_backup, &_pingback, &_bootstrapUrl, &_queryUrl}) {
    const bool isName =
        !url->host.empty() && url->host != kPlaceholder && !isIPv4Address(url->host);
    if (isName && !contains(names, url->host)) names.push_back(url->host);
  }
  return names;
}

std::vector<std::string> RoutingTable::connectTo(std::uint16_t port, bool standardPortOpen) const {
  const std::string own = std::to_string(port);
  std::vector<std::string> entries;
  std::set<std::string> ports;
  for (const UrlParts* url : {&_fingerprint, &_backup, &_pingback, &_bootstrapUrl, &_queryUrl}) {
    if (url->host.empty()) continue;
    if (url->host != kPlaceholder && !isLoopbackName(url->host) && !isLoopbackAddress(url->host)) {
      entries.push_back(url->host + ":" + url->port + ":127.0.0.1:" + own);
    }
    if (url->port != own) ports.insert(url->port);
  }
  if (standardPortOpen) ports.erase("443");
  for (const std::string& other : ports) {
    std::string entry = ":";
    entry.append(other).append("::").append(own);
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace zor::sandbox
