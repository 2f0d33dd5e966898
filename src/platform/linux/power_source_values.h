// A power source out of what sysfs shows of a power supply.
#ifndef ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
#define ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_

#include <functional>
#include <optional>
#include <string>

#include "platform/device_port.h"

namespace zor {

// Reads one attribute of a power supply.
using SupplyAttribute = std::function<std::optional<std::string>(const std::string& key)>;

// Whether it feeds the machine itself: a battery or an uninterruptible supply that is in its place
// and not part of a mouse or another peripheral. A mains adapter is not a source of its own.
bool isMachinePowerSource(const SupplyAttribute& attribute);

// The charge is in percent (of energy or electric charge where the kernel shows no percentage), so
// that full is 100; the state is the kernel's word for it. nullopt when neither is shown.
std::optional<PowerSource> powerSourceFromSupply(const std::string& name,
                                                 const SupplyAttribute& attribute);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
