// Facts that stand in text files of the system and of the kernel.
#ifndef ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_
#define ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// The system's name for people out of an os-release file: PRETTY_NAME, else NAME and VERSION.
std::optional<std::string> systemNameFromRelease(std::string_view content);

// The first processor's model out of the kernel's list of processors.
std::optional<std::string> processorModelFromList(std::string_view content);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_
