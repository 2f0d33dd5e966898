#include "cli/host_ports.h"

#include <cstdlib>
#include <sstream>
#include <utility>

namespace zor::cli {

HostPorts::HostPorts(std::unique_ptr<URLLoadingPort> loading, TracedURLLoading::Observer observer)
    : _loading(std::move(loading)),
      _traced(*_loading, std::move(observer)),
      _scope(systemPorts().with(_traced)) {}

std::vector<std::string> connectToFromEnvironment() {
  const char* setting = std::getenv("ZORFP_CONNECT_TO");
  std::vector<std::string> entries;
  std::istringstream stream(setting != nullptr ? setting : "");
  for (std::string entry; std::getline(stream, entry, ',');) {
    if (!entry.empty()) entries.push_back(entry);
  }
  return entries;
}

}  // namespace zor::cli
