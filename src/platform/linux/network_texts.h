// What the network port takes from text files.
#ifndef ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_
#define ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/network_port.h"

namespace zor {

// The interface of the default route with the smallest metric, from the kernel's tables for IPv4
// and IPv6; the second table is used only if the first has no default route.
std::optional<std::string> defaultRouteInterface(std::string_view routes,
                                                 std::string_view ipv6Routes);

// The IPv4 servers that a resolver configuration names, as dotted quads, parsed as the C library
// does: at most three servers, IPv4 or IPv6, on lines that begin with the keyword; anything after
// the address must be separated by white space. 0.0.0.0 does not count as a server.
std::vector<std::string> serversInConfiguration(std::string_view configuration);

// Whether one of them is the local stub through which programs ask a resolver service.
bool namesLocalStub(const std::vector<std::string>& servers);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_
