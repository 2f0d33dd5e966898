// What sysfs shows of a power supply, turned into a power source's description.
#ifndef ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
#define ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_

#include <functional>
#include <optional>
#include <string>

#include "platform/power_source_port.h"

namespace zor {

// Reads one attribute of a power supply.
using SupplyAttribute = std::function<std::optional<std::string>(const std::string& key)>;

// Whether it feeds the machine itself: a battery or an uninterruptible supply that is in its place
// and not part of a mouse or another peripheral. A mains adapter is no source of its own.
bool isMachinePowerSource(const SupplyAttribute& attribute);

// Charge in percent (of energy or electric charge where no percentage is shown), so that full is
// 100; the kernel's word for the state; the supply's name. What is not shown is left out; nullopt
// when nothing is.
std::optional<PowerSourceDescription> powerSourceDescription(const std::string& name,
                                                             const SupplyAttribute& attribute);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_POWER_SOURCE_VALUES_H_
