#include <ZORFingerPrint/ZORProbes.h>

#include "platform/ports.h"
#include "probes/probe_values.h"

namespace zor {

std::optional<std::string> getPropertyInservice(const std::string& key, const char* serviceClass) {
  if (serviceClass == nullptr) return std::nullopt;
  const auto value = ports().devices.property(serviceClass, key);
  return value ? propertyText(*value) : std::nullopt;
}

std::optional<std::string> getHardwareUDID() { return ports().devices.machineUuid(); }

std::optional<std::string> getHardwareSerialNumber() {
  return ports().devices.firmwareText(FirmwareText::serialNumber);
}

std::optional<std::string> getProductName() {
  return ports().devices.firmwareText(FirmwareText::productName);
}

std::optional<std::string> getModel() { return ports().devices.firmwareText(FirmwareText::model); }

std::optional<std::string> getDeviceName() {
  return ports().devices.firmwareText(FirmwareText::boardName);
}

std::optional<std::string> getBluetoothDeviceName() {
  const auto controller = ports().devices.bluetoothController();
  return controller ? controller->name : std::nullopt;
}

std::optional<std::string> getBluetoothAddress() {
  const auto controller = ports().devices.bluetoothController();
  return controller ? controller->address : std::nullopt;
}

ZORValue getUSBDevices() {
  ZORValue records = ZORValue::array();
  // If the platform cannot be asked, it counts as having no devices.
  const auto devices = ports().devices.usbDevices();
  if (!devices) return records;
  for (const USBDevice& device : *devices) records.append(usbDeviceRecord(device));
  return records;
}

}  // namespace zor
