// Facts about the operating system, the processor and this process.
#ifndef ZOR_PLATFORM_SYSTEM_PORT_H_
#define ZOR_PLATFORM_SYSTEM_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace zor {

// Sizes of a file system, in blocks.
struct FileSystemFigures {
  std::uint32_t blockSizeBytes = 0;
  std::uint64_t blocks = 0;
  std::uint64_t freeBlocks = 0;
  std::uint64_t availableBlocks = 0;  // To unprivileged users.
};

// Callable from any thread. Texts are valid UTF-8; a text that is not yields nullopt.
class SystemPort {
 public:
  virtual ~SystemPort() = default;

  // The kernel's long build description.
  virtual std::optional<std::string> kernelVersion() = 0;

  // The operating system's name and version for people.
  virtual std::optional<std::string> operatingSystemVersionString() = 0;

  virtual std::optional<std::string> processName() = 0;

  // A different text for each call, on any machine.
  virtual std::string globallyUniqueString() = 0;

  virtual std::int32_t processIdentifier() = 0;

  virtual double systemUptimeSeconds() = 0;

  virtual std::int64_t physicalMemoryBytes() = 0;

  // nullopt if the file system that holds `path` does not answer.
  virtual std::optional<FileSystemFigures> fileSystemFigures(const std::string& path) = 0;

  // The bytes of a named kernel value: an integer in this machine's byte order, or a text with its
  // terminating NUL. nullopt: no such name.
  virtual std::optional<Data> namedValue(const std::string& name) = 0;

  // The process's environment as it is now; variables whose value is not valid UTF-8 are left out.
  virtual std::map<std::string, std::string> environment() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_SYSTEM_PORT_H_
