// Small files of the kernel and of the system's configuration.
#ifndef ZOR_PLATFORM_LINUX_FILE_READING_H_
#define ZOR_PLATFORM_LINUX_FILE_READING_H_

#include <cstddef>
#include <optional>
#include <string>

namespace zor {

constexpr std::size_t kSmallFileBytes = std::size_t{64} << 10;

// At most `limitBytes` from the start of `path`; nullopt when it cannot be read. The attempt is
// noted in the probe's trace as `label`. Follows links. Callable from any thread.
std::optional<std::string> readSmallFile(const std::string& path, std::size_t limitBytes,
                                         const std::string& label);
std::optional<std::string> readSmallFile(const std::string& path,
                                         std::size_t limitBytes = kSmallFileBytes);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_FILE_READING_H_
