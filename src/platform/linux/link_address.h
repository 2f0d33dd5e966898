// The address that a network device was made with.
#ifndef ZOR_PLATFORM_LINUX_LINK_ADDRESS_H_
#define ZOR_PLATFORM_LINUX_LINK_ADDRESS_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/netlink.h"

namespace zor {

// The permanent address in the payload of the kernel's answer about a link; nullopt if the driver
// knows none; the kernel then leaves it out or fills it with zeros.
std::optional<Data> permanentAddressFromLink(Bytes payload);

// The bytes of "00:1a:2b:3c:4d:5e"; nullopt for any other text, the empty one, and all zeros.
std::optional<Data> addressFromText(std::string_view text);

// Asks the kernel for the permanent address of an interface.
std::optional<Data> readPermanentAddress(const std::string& interfaceName);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_LINK_ADDRESS_H_
