// A power source from a power supply in sysfs.
#ifndef ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
#define ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_

#include <functional>
#include <optional>
#include <string>

#include "platform/device_port.h"

namespace zor {

// Reads one attribute of a power supply.
using SupplyAttribute = std::function<std::optional<std::string>(const std::string& key)>;

// Whether it powers the machine itself: a battery or an uninterruptible supply that is present and
// does not belong to a mouse or another peripheral. A mains adapter is not a source of its own.
bool isMachinePowerSource(const SupplyAttribute& attribute);

// The charge is a percentage (of energy or electric charge if the kernel shows none), so full is
// 100; the state is the kernel's word. nullopt if the kernel shows neither.
std::optional<PowerSource> powerSourceFromSupply(const std::string& name,
                                                 const SupplyAttribute& attribute);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
