// Determines the route of a connection or request, and parses the profile's URLs.
#ifndef ZOR_SANDBOX_ROUTES_H_
#define ZOR_SANDBOX_ROUTES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// The parts of an https URL of the profile, which may contain "%@".
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

  // From what is known during the handshake. If an address is listed for several routes, the first
  // of backup address, service address, query and bootstrap counts.
  Route ofConnection(const std::string& localAddress, const std::string& serverName) const;

  Route ofRequest(const std::string& localAddress, const std::string& hostHeader,
                  const std::string& target) const;

  // The host that an HTTPDNS target asks for; nullopt: not such a target.
  std::optional<std::string> resolvedHost(const std::string& target) const;

  // Entries in the form of curl's connect-to, which map ports for a client: one "::" entry for each
  // profile port that differs from `port`, and one for each profile host that is not a loopback
  // name.
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
