// Tells by which way a connection or a request came, and reads the profile's URLs.
#ifndef ZOR_SANDBOX_ROUTES_H_
#define ZOR_SANDBOX_ROUTES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// An https URL of the profile taken apart; "%@" may stand in it.
struct UrlParts {
  std::string host;
  std::string port;    // "443" when the URL names none.
  std::string target;  // Path and query.
};
UrlParts partsOfUrl(std::string_view url);

// A Host header or an authority without its port.
std::string hostWithoutPort(const std::string& hostHeader);

bool isIPv4Address(const std::string& text);

// Whether `address` lies in 127.0.0.0/8.
bool isLoopbackAddress(const std::string& address);

class RoutingTable {
 public:
  explicit RoutingTable(const SandboxSettings& settings);

  // By what is known during the handshake. An address may be listed for several ways; then the
  // first of backup address, service address, query and bootstrap counts.
  Route ofConnection(const std::string& localAddress, const std::string& serverName) const;

  Route ofRequest(const std::string& localAddress, const std::string& hostHeader,
                  const std::string& target) const;

  // The host that an HTTPDNS target asks for; nullopt: it is no such target.
  std::optional<std::string> resolvedHost(const std::string& target) const;

  // What a client is told to map ports: "::" pieces as in curl's connect-to, one a profile port
  // that differs from `port`, and one a profile host that is no loopback name.
  std::vector<std::string> connectTo(std::uint16_t port, bool standardPortOpen) const;

  // The host names of the profile's URLs, the fingerprint service's first.
  std::vector<std::string> hostNames() const;

 private:
  struct Question {  // A target with one hole for the host.
    std::string before;
    std::string after;
    std::optional<std::string> read(const std::string& target) const;
  };

  std::optional<Route> ofAddress(const std::string& localAddress) const;

  std::vector<std::string> _bootstrapAddresses;
  std::vector<std::string> _queryAddresses;
  std::vector<std::string> _serviceAddresses;
  std::vector<std::string> _backupAddresses;
  UrlParts _fingerprint;
  UrlParts _backup;
  UrlParts _pingback;
  UrlParts _bootstrapUrl;
  UrlParts _queryUrl;
  Question _bootstrap;
  Question _query;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_ROUTES_H_
