#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <resolv.h>
#include <sys/socket.h>

#include <array>
#include <memory>

#include "literals/literals.h"
#include "platform/macos/macos_ports.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

AddressFamily familyOf(int family) {
  if (family == AF_INET) return AddressFamily::ipv4;
  if (family == AF_INET6) return AddressFamily::ipv6;
  return AddressFamily::other;
}

InterfaceAddress interfaceAddress(const ifaddrs& entry) {
  InterfaceAddress address;
  address.interfaceName = entry.ifa_name;
  address.running = (entry.ifa_flags & IFF_RUNNING) != 0;
  if (entry.ifa_addr == nullptr) return address;
  address.family = familyOf(entry.ifa_addr->sa_family);
  const auto* first = reinterpret_cast<const std::uint8_t*>(entry.ifa_addr);
  address.socketAddress.assign(first, first + entry.ifa_addr->sa_len);
  return address;
}

// A resolver state of its own, so that the process's shared one stays untouched.
class ResolverState {
 public:
  ResolverState() : _initialised(res_9_ninit(&_state) == 0) {}
  // Not after a failed start: a state that was never set up reads as one whose socket is number 0.
  ~ResolverState() {
    if (_initialised) res_9_ndestroy(&_state);
  }
  ResolverState(const ResolverState&) = delete;
  ResolverState& operator=(const ResolverState&) = delete;

  bool initialised() const { return _initialised; }

  std::vector<std::string> nameServers() const {
    std::vector<std::string> servers;
    for (int index = 0; index < _state.nscount && index < MAXNS; ++index) {
      const sockaddr_in& server = _state.nsaddr_list[index];
      char text[INET_ADDRSTRLEN];
      if (server.sin_family == AF_INET &&
          ::inet_ntop(AF_INET, &server.sin_addr, text, sizeof text) != nullptr) {
        servers.emplace_back(text);
      }
    }
    return servers;
  }

 private:
  // Cleared first: the call below reads its flags to see whether there is a state to give up.
  struct __res_9_state _state {};
  const bool _initialised;
};

class MacNetwork final : public NetworkPort {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override {
    noteProbeSource("getifaddrs");
    ifaddrs* head = nullptr;
    if (::getifaddrs(&head) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(head, ::freeifaddrs);
    std::vector<InterfaceAddress> addresses;
    for (const ifaddrs* entry = head; entry != nullptr; entry = entry->ifa_next) {
      addresses.push_back(interfaceAddress(*entry));
    }
    return addresses;
  }

  DesignatedInterfaces designatedInterfaces() override {
    return {literals::kFirstInterfaceName.str(), literals::kSecondInterfaceName.str(),
            literals::kThirdInterfaceName.str()};
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
    return std::string(text);
  }

  std::optional<std::vector<std::string>> nameServers() override {
    noteProbeSource("resolver");
    const ResolverState state;
    if (!state.initialised()) return std::nullopt;
    return state.nameServers();
  }
};

}  // namespace

NetworkPort& macosNetworkPort() {
  static auto& port = *new MacNetwork;
  return port;
}

}  // namespace zor
