// The system log.
#ifndef ZOR_PLATFORM_LOG_PORT_H_
#define ZOR_PLATFORM_LOG_PORT_H_

#include <string>

namespace zor {

// Callable from any thread.
class LogPort {
 public:
  virtual ~LogPort() = default;
  // Writes one line, without its line break. Lines hold no hardware values, keys or fingerprints.
  virtual void writeLine(const std::string& line) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LOG_PORT_H_
