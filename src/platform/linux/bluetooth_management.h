// Bluetooth controllers as the kernel's management socket shows them. Every user may read it; the
// kernel answers from its own records, without asking the radio or a daemon.
#ifndef ZOR_PLATFORM_LINUX_BLUETOOTH_MANAGEMENT_H_
#define ZOR_PLATFORM_LINUX_BLUETOOTH_MANAGEMENT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zor {

struct ControllerInfo {
  std::optional<std::string> name;     // nullopt: none was given, or not valid UTF-8.
  std::optional<std::string> address;  // "00:1A:2B:3C:4D:5E"; nullopt: not configured.
};

// The command that reads the information of controller `index`.
Data controllerInfoCommand(std::uint16_t index);

// The answer to that command; nullopt for other messages, a refusal, and damaged bytes.
std::optional<ControllerInfo> controllerInfoFromMessage(std::span<const std::uint8_t> message,
                                                        std::uint16_t index);

// Asks the kernel; nullopt if it has no such controller or no Bluetooth.
std::optional<ControllerInfo> readControllerInfo(std::uint16_t index);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_BLUETOOTH_MANAGEMENT_H_
