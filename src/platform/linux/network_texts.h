// What the network port reads out of text files and of the devices present.
#ifndef ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_
#define ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/network_port.h"

namespace zor {

// An interface that a device stands behind.
struct BackedInterface {
  std::string name;
  std::int64_t index = 0;
  bool wireless = false;
  bool wired = false;  // Ethernet proper: neither wireless nor a modem or the like.
};

// By index: the first and the second wired one, the first wireless one.
DesignatedInterfaces designatedAmong(std::vector<BackedInterface> interfaces);

// The interface of the default route with the smallest metric, out of the kernel's tables for the
// two versions of the protocol; the second argument counts when the first names none.
std::optional<std::string> defaultRouteInterface(std::string_view routes,
                                                 std::string_view ipv6Routes);

// Whether a resolver configuration names a server by an address that the resolver can read. It
// takes the loopback address where none is named.
bool namesServer(std::string_view configuration);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_
