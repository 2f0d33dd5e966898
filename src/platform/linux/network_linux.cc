#include <algorithm>
#include <cerrno>

#include "literals/literals.h"
#include "platform/linux/device_reads.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/network_texts.h"
#include "platform/posix/network_posix.h"

namespace zor {
namespace {

constexpr std::size_t kMaxAddressInterfaces = 2;

std::optional<std::string> interfaceOfDefaultRoute() {
  return defaultRouteInterface(readSmallFile(literals::kIPv4RoutesPath.str()).value_or(""),
                               readSmallFile(literals::kIPv6RoutesPath.str()).value_or(""));
}

class LinuxNetwork final : public PosixNetwork {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override {
    return deviceReads().interfaceAddresses.value();
  }

  DesignatedInterfaces designatedInterfaces() override {
    return deviceReads().interfaceFacts.value().designated;
  }

  // The interface of the default route comes first, whether it is a bridge, a modem or a second
  // card.
  std::vector<std::string> addressInterfaces() override {
    const DesignatedInterfaces designated = designatedInterfaces();
    std::vector<std::string> names;
    for (const auto& name :
         {interfaceOfDefaultRoute(), designated.first, designated.second, designated.third}) {
      const bool wanted = name && names.size() < kMaxAddressInterfaces &&
                          std::find(names.begin(), names.end(), *name) == names.end();
      if (wanted) names.push_back(*name);
    }
    return names;
  }

  // Read here because the C library's parser would block on a special file in its place, and does
  // not know the servers behind a stub.
  std::optional<std::vector<std::string>> nameServers() override {
    const auto configuration = readSmallFile(literals::kResolverConfigurationPath.str());
    if (!configuration && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
      return std::nullopt;
    }
    auto servers = serversInConfiguration(configuration.value_or(""));
    if (!namesLocalStub(servers)) return servers;
    const auto behind = readSmallFile(literals::kResolvedConfigurationPath.str());
    return behind ? serversInConfiguration(*behind) : servers;
  }
};

}  // namespace

NetworkPort& linuxNetworkPort() {
  static constinit MadeOnce<LinuxNetwork> port;
  return port.get();
}

}  // namespace zor
