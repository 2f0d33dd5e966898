// The machine's UUID, from sources that every user may read, so that it is the same for all.
#ifndef ZOR_PLATFORM_LINUX_MACHINE_UUID_H_
#define ZOR_PLATFORM_LINUX_MACHINE_UUID_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zor {

using MachineId = std::array<std::uint8_t, 16>;

// The 32 hexadecimal digits of the machine-id file; nullopt for anything else, such as the word
// that the file holds before the first boot, and for zeros.
std::optional<MachineId> machineIdFromText(std::string_view content);

// The firmware's text at `path`, up to its first NUL and without white space at its ends. nullopt:
// it cannot be read, is empty, or consists of zeros, as on boards without a serial number.
std::optional<std::string> firmwareFileText(const std::string& path);

// HMAC-SHA-256 of this library's text under `key`, its first 16 bytes with the version and variant
// of a random UUID. The key, a machine id or a serial number, cannot be recovered from it.
std::string machineUuid(std::string_view key);

// The UUID of this machine, from the first of these that exists: the machine id, the older one of
// the message bus, the serial number in the device tree.
std::optional<std::string> hardwareUuid();

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_MACHINE_UUID_H_
