// The power sources of the machine itself: batteries and uninterruptible supplies.
#ifndef ZOR_PLATFORM_POWER_SOURCE_PORT_H_
#define ZOR_PLATFORM_POWER_SOURCE_PORT_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry_port.h"

namespace zor {

// A source's description under the platform's keys (the power-source texts of the literal table).
using PowerSourceDescription = std::map<std::string, RegistryValue>;

// Callable from any thread.
class PowerSourcePort {
 public:
  virtual ~PowerSourcePort() = default;

  // One element for each source, in the platform's order; an element is nullopt when the source
  // has no description (it vanished while it was read). Batteries of peripherals are left out.
  virtual std::vector<std::optional<PowerSourceDescription>> sources() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_POWER_SOURCE_PORT_H_
