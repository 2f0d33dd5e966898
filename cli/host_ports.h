// The ports that zorfp runs the library with.
#ifndef ZOR_CLI_HOST_PORTS_H_
#define ZOR_CLI_HOST_PORTS_H_

#include <memory>
#include <string>
#include <vector>

#include "cli/traced_url_loading.h"
#include "platform/ports.h"

namespace zor::cli {

// The system's ports with URL loading traced and, for work against a sandbox on other ports,
// redirected. In use from construction to the end of the process.
class HostPorts {
 public:
  // `connectTo`: entries HOST:PORT:HOST:PORT, an empty part meaning any (left) or the same (right).
  // Names and certificates are checked as if there were no redirection.
  HostPorts(const std::vector<std::string>& connectTo, TracedURLLoading::Observer observer);

  TracedURLLoading& urlLoading() { return _traced; }

 private:
  const std::unique_ptr<URLLoadingPort> _redirected;  // Null without redirections.
  TracedURLLoading _traced;
  const ScopedPorts _scope;
};

// Whether `entry` is a redirection as above: hosts are names, dotted quads or IPv6 literals in
// brackets, ports at most 65535. The URL-loading module skips any other without a word.
bool isConnectToEntry(const std::string& entry);

// The redirections in the environment variable ZORFP_CONNECT_TO, separated by commas.
std::vector<std::string> connectToFromEnvironment();

}  // namespace zor::cli

#endif  // ZOR_CLI_HOST_PORTS_H_
