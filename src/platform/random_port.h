// Unpredictable numbers.
#ifndef ZOR_PLATFORM_RANDOM_PORT_H_
#define ZOR_PLATFORM_RANDOM_PORT_H_

#include <cstdint>
#include <string>

namespace zor {

// Callable from any thread.
class RandomPort {
 public:
  virtual ~RandomPort() = default;
  // Uniform over 32 bits.
  virtual std::uint32_t randomNumber() = 0;
  // A fresh random UUID: 36 characters, upper-case hex with hyphens.
  virtual std::string uuidString() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_RANDOM_PORT_H_
