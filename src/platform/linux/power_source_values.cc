#include "platform/linux/power_source_values.h"

#include <algorithm>

#include "literals/literals.h"
#include "support/text.h"

namespace zor {
namespace {

// `now` as a percentage of `full`, rounded down as in the kernel's drivers.
std::optional<std::int64_t> percentOf(const SupplyAttribute& attribute, const std::string& now,
                                      const std::string& full) {
  const std::int64_t fullAmount = longLongValue(attribute(full).value_or(""));
  const auto amount = attribute(now);
  if (fullAmount <= 0 || !amount) return std::nullopt;
  const double percent =
      100.0 * static_cast<double>(longLongValue(*amount)) / static_cast<double>(fullAmount);
  return static_cast<std::int64_t>(std::clamp(percent, 0.0, 100.0));
}

std::optional<std::int64_t> chargePercent(const SupplyAttribute& attribute) {
  if (const auto shown = attribute(literals::kPowerCapacityProperty.str())) {
    return longLongValue(*shown);
  }
  const auto energy = percentOf(attribute, literals::kPowerEnergyNowProperty.str(),
                                literals::kPowerEnergyFullProperty.str());
  return energy ? energy
                : percentOf(attribute, literals::kPowerChargeNowProperty.str(),
                            literals::kPowerChargeFullProperty.str());
}

}  // namespace

bool isMachinePowerSource(const SupplyAttribute& attribute) {
  const auto type = attribute(literals::kPowerTypeProperty.str());
  const bool feeds = type && (*type == literals::kPowerBatteryType.view() ||
                              *type == literals::kPowerUPSType.view());
  return feeds &&
         attribute(literals::kPowerScopeProperty.str()) != literals::kPowerDeviceScope.str() &&
         attribute(literals::kPowerPresentProperty.str()) != "0";
}

std::optional<PowerSource> powerSourceFromSupply(const std::string& name,
                                                 const SupplyAttribute& attribute) {
  PowerSource source;
  source.charge = chargePercent(attribute);
  if (source.charge) source.fullCharge = 100;
  source.state = ZORValue::orNull(attribute(literals::kPowerStateProperty.str()));
  source.name = name;
  if (!source.charge && source.state.isNull()) return std::nullopt;
  return source;
}

}  // namespace zor
