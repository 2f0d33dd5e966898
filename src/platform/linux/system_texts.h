// Facts from text files of the system and the kernel.
#ifndef ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_
#define ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zor {

// The system's name for people from an os-release file: PRETTY_NAME, else NAME and VERSION.
std::optional<std::string> systemNameFromRelease(std::string_view content);

// The first processor's model from the kernel's list of processors, from whichever field its family
// uses. If only numbers are shown (64-bit ARM): those of its maker and part.
std::optional<std::string> processorModelFromList(std::string_view content);

// The size of memory shown as blocks of `blockSize` (hexadecimal digits) in a folder with `links`
// links: its own two, and one for each block. 0: unknown.
std::int64_t memoryOfBlocks(std::string_view blockSize, std::uint64_t links);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_SYSTEM_TEXTS_H_
