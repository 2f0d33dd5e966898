// The part of the network port that both platforms implement with POSIX.
#ifndef ZOR_PLATFORM_POSIX_NETWORK_POSIX_H_
#define ZOR_PLATFORM_POSIX_NETWORK_POSIX_H_

#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/network_port.h"

namespace zor {

// What is left to a backend: which interfaces are designated and reported, and the name servers.
class PosixNetwork : public NetworkPort {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override;
  std::optional<std::string> addressText(AddressFamily family, const std::uint8_t* bytes,
                                         std::size_t size) final;
};

// The system's list of addresses. nullopt: it could not be read.
std::optional<std::vector<InterfaceAddress>> readInterfaceAddresses();

// One entry of that list.
InterfaceAddress interfaceAddress(const ifaddrs& entry);

// The IPv4 servers among the first `count` of a resolver's state, as dotted quads, in their order.
// Servers of other families are skipped, and so is 0.0.0.0, which means none.
std::vector<std::string> ipv4Servers(const sockaddr_in* servers, int count);

}  // namespace zor

#endif  // ZOR_PLATFORM_POSIX_NETWORK_POSIX_H_
