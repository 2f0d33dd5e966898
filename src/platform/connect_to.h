// Redirects connections away from the address in their URL: entries
// HOST:PORT:CONNECT-HOST:CONNECT-PORT.
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
// at most 65535, and each part may be empty. URL loading silently skips entries of any other form.
bool isConnectToEntry(const std::string& entry);

// Where a connection to `asked` goes: the first matching entry decides. An empty part matches
// anything (left) or leaves that part unchanged (right).
Endpoint connectEndpoint(const std::vector<std::string>& entries, const Endpoint& asked);

}  // namespace zor

#endif  // ZOR_PLATFORM_CONNECT_TO_H_
