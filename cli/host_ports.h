// The ports that zorfp runs the library with.
#ifndef ZOR_CLI_HOST_PORTS_H_
#define ZOR_CLI_HOST_PORTS_H_

#include <memory>
#include <string>
#include <vector>

#include "cli/traced_url_loading.h"
#include "platform/ports.h"

namespace zor::cli {

// The system's ports with the program's own, traced URL loading. In use from construction to the
// end of the process.
class HostPorts {
 public:
  HostPorts(std::unique_ptr<URLLoadingPort> loading, TracedURLLoading::Observer observer);

  TracedURLLoading& urlLoading() { return _traced; }

 private:
  const std::unique_ptr<URLLoadingPort> _loading;
  TracedURLLoading _traced;
  const ScopedPorts _scope;
};

// The redirections in the environment variable ZORFP_CONNECT_TO, separated by commas.
std::vector<std::string> connectToFromEnvironment();

}  // namespace zor::cli

#endif  // ZOR_CLI_HOST_PORTS_H_
