// Power sources from the power supplies in sysfs.
#include "literals/literals.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/power_source_values.h"

namespace zor {
namespace {

std::optional<PowerSourceDescription> describe(const Device& supply,
                                               const SupplyAttribute& attribute) {
  auto description = powerSourceDescription(supply.name(), attribute);
  // What was read of a battery that has gone meanwhile describes none.
  if (!supply.exists()) return std::nullopt;
  return description;
}

class LinuxPowerSources final : public PowerSourcePort {
 public:
  std::vector<std::optional<PowerSourceDescription>> sources() override {
    std::vector<std::optional<PowerSourceDescription>> found;
    const auto supplies = devicesOf(literals::kPowerSupplyClass.str());
    if (!supplies) return found;
    for (const Device& supply : *supplies) {
      const SupplyAttribute attribute = [&supply](const std::string& key) {
        return supply.attribute(key);
      };
      if (isMachinePowerSource(attribute)) found.push_back(describe(supply, attribute));
    }
    return found;
  }
};

}  // namespace

PowerSourcePort& linuxPowerSourcePort() {
  static auto& port = *new LinuxPowerSources;
  return port;
}

}  // namespace zor
