#include "cli/host_ports.h"

#include <cstdlib>
#include <sstream>
#include <utility>

#include "platform/linux/url_loading_linux.h"

namespace zor::cli {
namespace {

std::unique_ptr<URLLoadingPort> redirectedLoading(const std::vector<std::string>& connectTo) {
  if (connectTo.empty()) return nullptr;
  return makeLinuxURLLoading(LinuxURLLoadingOptions{connectTo});
}

PortSet withURLLoading(URLLoadingPort& urlLoading) {
  const PortSet& system = systemPorts();
  return {system.registry,    system.powerSources, system.system, system.network,
          system.wifi,        system.integrity,    system.bundle, system.defaults,
          system.pasteboards, system.archive,      system.files,  system.crypto,
          system.clock,       system.random,       system.log,    urlLoading};
}

}  // namespace

HostPorts::HostPorts(const std::vector<std::string>& connectTo, TracedURLLoading::Observer observer)
    : _redirected(redirectedLoading(connectTo)),
      _traced(_redirected != nullptr ? *_redirected : systemPorts().urlLoading,
              std::move(observer)),
      _scope(withURLLoading(_traced)) {}

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
