#include "platform/posix/network_posix.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/probe_trace.h"
#include "support/c_handles.h"

namespace zor {
namespace {

AddressFamily familyOf(const sockaddr* address) {
  if (address == nullptr) return AddressFamily::other;
  if (address->sa_family == AF_INET) return AddressFamily::ipv4;
  return address->sa_family == AF_INET6 ? AddressFamily::ipv6 : AddressFamily::other;
}

Data addressBytes(const sockaddr* address, AddressFamily family) {
  if (family == AddressFamily::other) return {};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(address);
  return {bytes,
          bytes + (family == AddressFamily::ipv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6))};
}

}  // namespace

InterfaceAddress interfaceAddress(const ifaddrs& entry) {
  const AddressFamily family = familyOf(entry.ifa_addr);
  // A further IPv4 address may carry a label of its own ("eth0:1"); the interface is the same.
  std::string name = entry.ifa_name;
  name.erase(std::min(name.find(':'), name.size()));
  return {std::move(name), (entry.ifa_flags & IFF_RUNNING) != 0, family,
          addressBytes(entry.ifa_addr, family)};
}

std::vector<std::string> ipv4Servers(const sockaddr_in* servers, int count) {
  std::vector<std::string> texts;
  for (int index = 0; index < count; ++index) {
    char text[INET_ADDRSTRLEN];
    const bool readable =
        servers[index].sin_family == AF_INET && servers[index].sin_addr.s_addr != INADDR_ANY &&
        ::inet_ntop(AF_INET, &servers[index].sin_addr, text, sizeof text) != nullptr;
    if (readable) texts.emplace_back(text);
  }
  return texts;
}

std::optional<std::vector<InterfaceAddress>> readInterfaceAddresses() {
  noteProbeSource("getifaddrs");
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, FreeWith<freeifaddrs>> list(first);
  std::vector<InterfaceAddress> addresses;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    addresses.push_back(interfaceAddress(*entry));
  }
  return addresses;
}

std::optional<std::vector<InterfaceAddress>> PosixNetwork::interfaceAddresses() {
  return readInterfaceAddresses();
}

std::optional<std::string> PosixNetwork::addressText(AddressFamily family,
                                                     const std::uint8_t* bytes, std::size_t size) {
  const bool ipv4 = family == AddressFamily::ipv4 && size == sizeof(in_addr);
  const bool ipv6 = family == AddressFamily::ipv6 && size == sizeof(in6_addr);
  if (!ipv4 && !ipv6) return std::nullopt;
  char text[INET6_ADDRSTRLEN];
  if (::inet_ntop(ipv4 ? AF_INET : AF_INET6, bytes, text, sizeof text) == nullptr) {
    return std::nullopt;
  }
  return text;
}

}  // namespace zor
