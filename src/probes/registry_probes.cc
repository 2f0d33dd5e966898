#include <ZORFingerPrint/ZORProbes.h>

#include "literals/literals.h"
#include "platform/ports.h"
#include "probes/probe_values.h"

namespace zor {

std::optional<std::string> getPropertyInservice(const std::string& key, const char* serviceClass) {
  if (serviceClass == nullptr) return std::nullopt;
  const auto service = ports().registry.firstService(serviceClass);
  if (!service) return std::nullopt;
  const auto value = service->property(key);
  return value ? propertyText(*value) : std::nullopt;
}

std::optional<std::string> getHardwareUDID() {
  return getPropertyInservice(literals::kHardwareUUIDProperty.str(),
                              literals::kHardwareUUIDClass.c_str());
}

std::optional<std::string> getHardwareSerialNumber() {
  return getPropertyInservice(literals::kSerialNumberProperty.str(),
                              literals::kSerialNumberClass.c_str());
}

std::optional<std::string> getProductName() {
  return getPropertyInservice(literals::kProductNameProperty.str(),
                              literals::kProductNameClass.c_str());
}

std::optional<std::string> getModel() {
  return getPropertyInservice(literals::kModelProperty.str(), literals::kModelClass.c_str());
}

std::optional<std::string> getDeviceName() {
  return getPropertyInservice(literals::kDeviceNameProperty.str(),
                              literals::kDeviceNameClass.c_str());
}

std::optional<std::string> getBluetoothDeviceName() {
  return getPropertyInservice(literals::kBluetoothNameProperty.str(),
                              literals::kBluetoothNameClass.c_str());
}

std::optional<std::string> getBluetoothAddress() {
  return getPropertyInservice(literals::kBluetoothAddressProperty.str(),
                              literals::kBluetoothAddressClass.c_str());
}

ZORValue getUSBDevices() {
  ZORValue records = ZORValue::array();
  // A registry that cannot be asked counts as one without devices.
  const auto devices = ports().registry.services(literals::kUSBDeviceClass.str());
  if (!devices) return records;
  for (const auto& device : *devices) records.append(usbDeviceRecord(*device));
  return records;
}

}  // namespace zor
