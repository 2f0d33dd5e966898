#include <net/if_arp.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>

#include "literals/literals.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/network_texts.h"
#include "platform/posix/network_posix.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

std::int64_t numberAttribute(const Device& device, const std::string& key) {
  return longLongValue(device.attribute(key).value_or(""));
}

BackedInterface backedInterface(const Device& device) {
  const std::string type = device.type();
  const bool ethernet =
      numberAttribute(device, literals::kInterfaceTypeProperty.str()) == ARPHRD_ETHER;
  return {device.name(), numberAttribute(device, literals::kInterfaceIndexProperty.str()),
          type == literals::kWirelessDeviceType.view(), ethernet && type.empty()};
}

// The resolver's own reading of its configuration, closed at the end of its life.
class ResolverState {
 public:
  ResolverState() : _initialised(::res_ninit(&_state) == 0) {}
  ~ResolverState() {
    if (_initialised) ::res_nclose(&_state);
  }
  ResolverState(const ResolverState&) = delete;
  ResolverState& operator=(const ResolverState&) = delete;

  bool initialised() const { return _initialised; }

  std::vector<std::string> servers() const {
    return ipv4Servers(_state.nsaddr_list, std::min(_state.nscount, MAXNS));
  }

 private:
  struct __res_state _state = {};
  const bool _initialised;
};

class LinuxNetwork final : public PosixNetwork {
 public:
  // Without any interface backed by a device, as in a container, the one that leads outside counts
  // as the first.
  DesignatedInterfaces designatedInterfaces() override {
    std::vector<BackedInterface> interfaces;
    const auto devices = interfacesBackedByDevices();
    if (devices) {
      for (const Device& device : *devices) interfaces.push_back(backedInterface(device));
    }
    if (!interfaces.empty()) return designatedAmong(std::move(interfaces));
    DesignatedInterfaces designated;
    designated.first =
        defaultRouteInterface(readSmallFile(literals::kIPv4RoutesPath.str()).value_or(""),
                              readSmallFile(literals::kIPv6RoutesPath.str()).value_or(""));
    return designated;
  }

  std::optional<std::vector<std::string>> nameServers() override {
    noteProbeSource("res_ninit");
    const ResolverState resolver;
    if (!resolver.initialised()) return std::nullopt;
    // Where no server is configured the resolver falls back on this machine, which is none.
    const auto configuration = readSmallFile(literals::kResolverConfigurationPath.str());
    if (!configuration || !namesServer(*configuration)) return std::vector<std::string>();
    return resolver.servers();
  }
};

}  // namespace

NetworkPort& linuxNetworkPort() {
  static constinit MadeOnce<LinuxNetwork> port;
  return port.get();
}

}  // namespace zor
