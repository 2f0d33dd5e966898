#include "sandbox/sandbox_types.h"

#include <algorithm>
#include <array>

#include "sandbox/profile_words.h"
#include "support/text.h"
#include "support/url.h"

namespace zor::sandbox {
namespace {

constexpr std::array<std::pair<Route, const char*>, 8> kRouteNames{{
    {Route::name, "name"},
    {Route::bootstrap, "bootstrap"},
    {Route::query, "query"},
    {Route::address, "address"},
    {Route::backupService, "backup-service"},
    {Route::backupAddress, "backup-address"},
    {Route::pingback, "pingback"},
    {Route::unknown, "unknown"},
}};

constexpr std::array<std::pair<Certificate, const char*>, 7> kCertificateNames{{
    {Certificate::ordinary, "ordinary"},
    {Certificate::wrongName, "wrong-name"},
    {Certificate::attacker, "attacker"},
    {Certificate::expired, "expired"},
    {Certificate::notYetValid, "not-yet-valid"},
    {Certificate::selfSigned, "self-signed"},
    {Certificate::unknownRoot, "unknown-root"},
}};

}  // namespace

SandboxSettings::SandboxSettings() {
  for (const auto* url : {&words::kFingerprintURL, &words::kBackupURL, &words::kPingbackURL}) {
    const auto host = hostOfUrl(url->str());
    const auto end = certificateNames.end();
    if (host && std::find(certificateNames.begin(), end, *host) == end) {
      certificateNames.push_back(*host);
    }
  }
  if (words::kHttpDnsAddresses.view().empty()) return;
  bootstrapAddresses = split(words::kHttpDnsAddresses.view(), " ");
  certificateNames.push_back(words::kHttpDnsHost.str());
}

std::string routeName(Route route) {
  for (const auto& [value, name] : kRouteNames) {
    if (value == route) return name;
  }
  return "unknown";
}

std::optional<Route> routeFromName(const std::string& name) {
  for (const auto& [value, known] : kRouteNames) {
    if (name == known) return value;
  }
  return std::nullopt;
}

std::string certificateName(Certificate certificate) {
  for (const auto& [value, name] : kCertificateNames) {
    if (value == certificate) return name;
  }
  return "unknown";
}

}  // namespace zor::sandbox
