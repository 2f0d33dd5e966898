#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <memory>

#include "literals/literals.h"
#include "platform/linux/c_handles.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/network_texts.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

using InterfaceList = std::unique_ptr<ifaddrs, FreeWith<freeifaddrs>>;

AddressFamily familyOf(const sockaddr* address) {
  if (address == nullptr) return AddressFamily::other;
  if (address->sa_family == AF_INET) return AddressFamily::ipv4;
  return address->sa_family == AF_INET6 ? AddressFamily::ipv6 : AddressFamily::other;
}

Data addressBytes(const sockaddr* address, AddressFamily family) {
  if (family == AddressFamily::other) return {};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(address);
  return Data(bytes,
              bytes + (family == AddressFamily::ipv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)));
}

InterfaceAddress interfaceAddress(const ifaddrs& entry) {
  const AddressFamily family = familyOf(entry.ifa_addr);
  // A further IPv4 address may carry a label of its own ("eth0:1"); the interface is the same.
  std::string name = entry.ifa_name;
  name.erase(std::min(name.find(':'), name.size()));
  return {std::move(name), (entry.ifa_flags & IFF_RUNNING) != 0, family,
          addressBytes(entry.ifa_addr, family)};
}

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

  // An entry of another family than IPv4 stands in the list without a family; it is skipped.
  std::vector<std::string> ipv4Servers() const {
    std::vector<std::string> servers;
    for (int index = 0; index < _state.nscount && index < MAXNS; ++index) {
      const sockaddr_in& server = _state.nsaddr_list[index];
      char text[INET_ADDRSTRLEN];
      const bool readable = server.sin_family == AF_INET &&
                            ::inet_ntop(AF_INET, &server.sin_addr, text, sizeof text) != nullptr;
      if (readable) servers.emplace_back(text);
    }
    return servers;
  }

 private:
  struct __res_state _state = {};
  const bool _initialised;
};

class LinuxNetwork final : public NetworkPort {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override {
    noteProbeSource("getifaddrs");
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return std::nullopt;
    const InterfaceList list(first);
    std::vector<InterfaceAddress> addresses;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
      addresses.push_back(interfaceAddress(*entry));
    }
    return addresses;
  }

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
    designated.first = defaultRouteInterface(
        readSmallFile(literals::kRoutesPath.str()).value_or(""),
        readSmallFile(literals::kRoutesOfSixthVersionPath.str()).value_or(""));
    return designated;
  }

  std::optional<std::string> addressText(AddressFamily family, const std::uint8_t* bytes,
                                         std::size_t size) override {
    const bool ipv4 = family == AddressFamily::ipv4 && size == sizeof(in_addr);
    const bool ipv6 = family == AddressFamily::ipv6 && size == sizeof(in6_addr);
    if (!ipv4 && !ipv6) return std::nullopt;
    char text[INET6_ADDRSTRLEN];
    if (::inet_ntop(ipv4 ? AF_INET : AF_INET6, bytes, text, sizeof text) == nullptr) {
      return std::nullopt;
    }
    return text;
  }

  std::optional<std::vector<std::string>> nameServers() override {
    noteProbeSource("res_ninit");
    const ResolverState resolver;
    if (!resolver.initialised()) return std::nullopt;
    // Where no server is configured the resolver falls back on this machine, which is none.
    const auto configuration = readSmallFile(literals::kResolverConfigurationPath.str());
    if (!configuration || !namesServer(*configuration)) return std::vector<std::string>();
    return resolver.ipv4Servers();
  }
};

}  // namespace

NetworkPort& linuxNetworkPort() {
  static auto& port = *new LinuxNetwork;
  return port;
}

}  // namespace zor
