// The machine's UUID: the same for every user, unlike the firmware's, which only root may read.
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
// that stands there before the first start, and for zeros.
std::optional<MachineId> machineIdFromText(std::string_view content);

// HMAC-SHA-256 of this library's text under the machine id, its first 16 bytes with the version and
// variant of a random UUID. The machine id itself is confidential and cannot be had from it.
std::string machineUuid(const MachineId& id);

// The firmware's UUID in upper case; nullopt for anything else and for the fillers (all digits 0 or
// F) of firmware that has none.
std::optional<std::string> firmwareUuid(std::string_view content);

// The UUID of this machine: by machine id, only without one by firmware.
std::optional<std::string> hardwareUuid();

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_MACHINE_UUID_H_
