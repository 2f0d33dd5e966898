// Devices over sysfs, with what sysfs does not show from the kernel's own sockets.
#include <charconv>

#include "literals/literals.h"
#include "platform/linux/bluetooth_management.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/link_address.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/machine_uuid.h"
#include "platform/linux/power_source_values.h"
#include "support/text.h"

namespace zor {
namespace {

// An attribute without content is how firmware and kernel show that there is no value.
std::optional<std::string> presentAttribute(const Device& device, const std::string& key) {
  auto text = device.attribute(key);
  return text && !text->empty() ? std::move(text) : std::nullopt;
}

std::string firmwareAttribute(FirmwareText which) {
  switch (which) {
    case FirmwareText::serialNumber:
      return literals::kSerialNumberProperty.str();
    case FirmwareText::productName:
      return literals::kProductNameProperty.str();
    case FirmwareText::model:
      return literals::kModelProperty.str();
    case FirmwareText::boardName:
      return literals::kBoardNameProperty.str();
  }
  return {};
}

// The number in "hci0"; nullopt for the connections of a controller, which are devices as well.
std::optional<std::uint16_t> controllerIndex(const std::string& name) {
  const auto digits = name.find_first_of("0123456789");
  if (digits == std::string::npos) return std::nullopt;
  std::uint16_t index = 0;
  const char* end = name.data() + name.size();
  const auto result = std::from_chars(name.data() + digits, end, index);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return index;
}

BluetoothController describeController(const Device& device, std::uint16_t index) {
  if (auto info = readControllerInfo(index)) {
    return {std::move(info->name), std::move(info->address)};
  }
  // Older kernels show the two in sysfs; a container may see that and not the socket.
  return {presentAttribute(device, literals::kBluetoothNameProperty.str()),
          presentAttribute(device, literals::kBluetoothAddressProperty.str())};
}

// A bus lists the interfaces of each device as well; their names have a colon.
bool isUSBDevice(const Device& device) {
  return device.name().find(':') == std::string::npos &&
         device.type() == literals::kUSBDeviceType.view();
}

ZORValue hexadecimalNumber(const std::optional<std::string>& text) {
  std::int64_t number = 0;
  const std::string digits = text.value_or("");
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number, 16);
  return result.ec == std::errc() && result.ptr == end ? ZORValue(number) : ZORValue();
}

USBDevice describeUSBDevice(const Device& device) {
  return {ZORValue::orNull(presentAttribute(device, literals::kUSBProductNameProperty.str())),
          hexadecimalNumber(device.attribute(literals::kUSBVendorIdProperty.str())),
          hexadecimalNumber(device.attribute(literals::kUSBProductIdProperty.str())),
          ZORValue::orNull(presentAttribute(device, literals::kUSBSerialNumberProperty.str()))};
}

std::optional<Data> currentAddress(const Device& interface) {
  const auto text = interface.attribute(literals::kCurrentAddressProperty.str());
  return text ? addressFromText(*text) : std::nullopt;
}

HardwareAddress describeInterface(const Device& interface) {
  HardwareAddress address;
  // The kernel lets an interface be named with any bytes.
  if (isValidUtf8(interface.name())) address.interfaceName = interface.name();
  address.bytes = readPermanentAddress(interface.name());
  if (!address.bytes) address.bytes = currentAddress(interface);
  return address;
}

std::optional<PowerSource> describePowerSource(const Device& supply,
                                               const SupplyAttribute& attribute) {
  auto source = powerSourceFromSupply(supply.name(), attribute);
  // What was read of a battery that has gone meanwhile describes none.
  return supply.exists() ? source : std::nullopt;
}

class LinuxDevices final : public DevicePort {
 public:
  std::optional<std::string> machineUuid() override { return hardwareUuid(); }

  std::optional<std::string> firmwareText(FirmwareText which) override {
    return firstAttribute(literals::kFirmwareClass.str(), firmwareAttribute(which));
  }

  std::optional<BluetoothController> bluetoothController() override {
    const auto devices = devicesOf(literals::kBluetoothClass.str());
    if (!devices) return std::nullopt;
    for (const Device& device : *devices) {
      if (const auto index = controllerIndex(device.name())) {
        return describeController(device, *index);
      }
    }
    return std::nullopt;
  }

  std::optional<std::vector<USBDevice>> usbDevices() override {
    const auto devices = devicesOf(literals::kUSBBus.str());
    if (!devices) return std::nullopt;
    std::vector<USBDevice> described;
    for (const Device& device : *devices) {
      if (isUSBDevice(device)) described.push_back(describeUSBDevice(device));
    }
    return described;
  }

  std::optional<std::vector<HardwareAddress>> hardwareAddresses() override {
    const auto interfaces = interfacesBackedByDevices();
    if (!interfaces) return std::nullopt;
    std::vector<HardwareAddress> described;
    for (const Device& interface : *interfaces) described.push_back(describeInterface(interface));
    return described;
  }

  std::optional<PowerSource> firstPowerSource() override {
    const auto supplies = devicesOf(literals::kPowerSupplyClass.str());
    if (!supplies) return std::nullopt;
    for (const Device& supply : *supplies) {
      const SupplyAttribute attribute = [&supply](const std::string& key) {
        return supply.attribute(key);
      };
      if (isMachinePowerSource(attribute)) return describePowerSource(supply, attribute);
    }
    return std::nullopt;
  }

  std::optional<ZORValue> property(const std::string& deviceClass,
                                   const std::string& key) override {
    if (!isPlaceInSysfs(deviceClass) || !isPlaceInSysfs(key)) return std::nullopt;
    const auto text = firstAttribute(deviceClass, key);
    return text ? std::optional<ZORValue>(*text) : std::nullopt;
  }

 private:
  // What a host asks for must not lead out of the device's own folder.
  static bool isPlaceInSysfs(const std::string& name) {
    return !name.empty() && name.find("..") == std::string::npos &&
           name.find('\0') == std::string::npos;
  }

  static std::optional<std::string> firstAttribute(const std::string& deviceClass,
                                                   const std::string& key) {
    const auto devices = devicesOf(deviceClass);
    if (!devices || devices->empty()) return std::nullopt;
    return presentAttribute(devices->front(), key);
  }
};

}  // namespace

DevicePort& linuxDevicePort() {
  static constinit MadeOnce<LinuxDevices> port;
  return port.get();
}

}  // namespace zor
