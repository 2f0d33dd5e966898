// Connections that go elsewhere than their URL says: entries HOST:PORT:CONNECT-HOST:CONNECT-PORT.
#ifndef ZOR_PLATFORM_CONNECT_TO_H_
#define ZOR_PLATFORM_CONNECT_TO_H_

#include <optional>
#include <string>
#include <vector>

namespace zor {

struct Endpoint {
  std::string host;  // IPv6 literals without brackets.
  std::string port;
};

// Whether `entry` has that form: hosts are names, dotted quads or IPv6 literals in brackets, ports
// at most 65535, and each part may be empty. URL loading skips any other silently.
bool isConnectToEntry(const std::string& entry);

// Where a connection to `asked` goes: the first entry that fits decides. An empty part fits
// anything (left) or leaves it unchanged (right).
Endpoint connectEndpoint(const std::vector<std::string>& entries, const Endpoint& asked);

}  // namespace zor

#endif  // ZOR_PLATFORM_CONNECT_TO_H_
