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

// The interface of the default route with the smallest metric, out of the kernel's tables for the
// two versions of the protocol; the second argument counts when the first names none.
std::optional<std::string> defaultRouteInterface(std::string_view routes,
                                                 std::string_view ipv6Routes);

// The IPv4 servers that a resolver configuration names, dotted quads, read as the C library reads
// it: three servers at most, of either version of the protocol, on lines that begin with the word
// and hold nothing after the address but what white space sets apart. 0.0.0.0 is none.
std::vector<std::string> serversInConfiguration(std::string_view configuration);

// Whether one of them is the stub on this machine through which programs ask a resolver service.
bool namesLocalStub(const std::vector<std::string>& servers);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NETWORK_TEXTS_H_
