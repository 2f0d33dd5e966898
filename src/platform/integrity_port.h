// Whether the registry-access functions of this process are the platform's own.
#ifndef ZOR_PLATFORM_INTEGRITY_PORT_H_
#define ZOR_PLATFORM_INTEGRITY_PORT_H_

#include <cstdint>

namespace zor {

// Two sets with one bit for each registry-access function, in the backend's fixed order.
struct IntegritySignal {
  std::int64_t foreignAddress = 0;  // Its address lies outside the object that should own it.
  // Its first 32 bytes differ from the file on disk; on a platform whose libraries have no files of
  // their own, from what they were when the library was loaded.
  std::int64_t changedCode = 0;
};

// Callable from any thread. A report for the service, never a reason to stop.
class IntegrityPort {
 public:
  virtual ~IntegrityPort() = default;
  // Called once when the library is loaded; its work takes no noticeable time.
  virtual void enable() = 0;
  // Zeros until enabled, and if nothing can be determined.
  virtual IntegritySignal signal() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_INTEGRITY_PORT_H_
