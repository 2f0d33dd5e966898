#include "cli/host_ports.h"

#include <cstdlib>
#include <sstream>
#include <utility>

#include "platform/linux/url_loading_linux.h"
#include "support/url.h"

namespace zor::cli {
namespace {

std::unique_ptr<URLLoadingPort> redirectedLoading(const std::vector<std::string>& connectTo) {
  if (connectTo.empty()) return nullptr;
  return makeLinuxURLLoading(LinuxURLLoadingOptions{connectTo});
}

// The parts of `entry` between its colons; those within brackets belong to an address.
std::vector<std::string> partsOf(const std::string& entry) {
  std::vector<std::string> parts(1);
  bool inBrackets = false;
  for (const char character : entry) {
    if (character == '[') inBrackets = true;
    if (character == ']') inBrackets = false;
    if (character == ':' && !inBrackets) {
      parts.emplace_back();
    } else {
      parts.back() += character;
    }
  }
  return parts;
}

bool isHostOrEmpty(const std::string& text) { return text.empty() || urlHost(text).has_value(); }

bool isPortOrEmpty(const std::string& text) {
  constexpr std::size_t kMostDigits = 5;
  constexpr int kLargestPort = 65535;
  if (text.size() > kMostDigits) return false;
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  return text.empty() || std::stoi(text) <= kLargestPort;
}

}  // namespace

HostPorts::HostPorts(const std::vector<std::string>& connectTo, TracedURLLoading::Observer observer)
    : _redirected(redirectedLoading(connectTo)),
      _traced(_redirected != nullptr ? *_redirected : systemPorts().urlLoading,
              std::move(observer)),
      _scope(withURLLoading(systemPorts(), _traced)) {}

bool isConnectToEntry(const std::string& entry) {
  const auto parts = partsOf(entry);
  return parts.size() == 4 && isHostOrEmpty(parts[0]) && isPortOrEmpty(parts[1]) &&
         isHostOrEmpty(parts[2]) && isPortOrEmpty(parts[3]);
}

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
