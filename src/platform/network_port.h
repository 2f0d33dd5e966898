// Network interfaces, their addresses and the resolver's servers.
#ifndef ZOR_PLATFORM_NETWORK_PORT_H_
#define ZOR_PLATFORM_NETWORK_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zor {

enum class AddressFamily { ipv4, ipv6, other };

// One address of one interface.
struct InterfaceAddress {
  std::string interfaceName;
  bool running = false;
  AddressFamily family = AddressFamily::other;
  // The platform's socket address as it lies in memory; both platforms keep the port at byte 2 and
  // what follows it at byte 4.
  Data socketAddress;
};

// Interfaces that get entries of their own in the report.
struct DesignatedInterfaces {
  std::optional<std::string> first;
  std::optional<std::string> second;
  std::optional<std::string> third;
};

// Callable from any thread. Calls that ask about interfaces may block, with the same limit as
// DevicePort.
class NetworkPort {
 public:
  virtual ~NetworkPort() = default;

  // In the system's order. nullopt: the list could not be read.
  virtual std::optional<std::vector<InterfaceAddress>> interfaceAddresses() = 0;

  // The names are keys of the hardware-address map. On a platform without fixed names they depend
  // on the devices present: first wired, first wireless, second wired.
  virtual DesignatedInterfaces designatedInterfaces() = 0;

  // The interfaces whose addresses are reported, two at most.
  virtual std::vector<std::string> addressInterfaces() = 0;

  // Printed form of the raw address of `family` (4 or 16 bytes); nullopt for any other input.
  virtual std::optional<std::string> addressText(AddressFamily family, const std::uint8_t* bytes,
                                                 std::size_t size) = 0;

  // IPv4 name servers in configuration order, dotted quads. The process's own resolver state is not
  // touched. nullopt: the configuration could not be read; empty: none is configured.
  virtual std::optional<std::vector<std::string>> nameServers() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_NETWORK_PORT_H_
