// UUIDs from bytes.
#ifndef ZOR_PLATFORM_LINUX_UUID_TEXT_H_
#define ZOR_PLATFORM_LINUX_UUID_TEXT_H_

#include <array>
#include <cstdint>
#include <string>

namespace zor {

// The UUID of `bytes` in upper case, marked as a random one: version 4, variant of RFC 4122.
std::string uuidText(std::array<std::uint8_t, 16> bytes);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_UUID_TEXT_H_
