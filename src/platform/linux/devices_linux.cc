// Devices from sysfs and, for what sysfs does not show, from the kernel's sockets.
#include <algorithm>
#include <charconv>
#include <tuple>

#include "literals/literals.h"
#include "platform/linux/bluetooth_management.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/device_reads.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/machine_uuid.h"
#include "platform/linux/power_source_values.h"

namespace zor {
namespace {

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

// What a machine without firmware tables provides instead; there is no substitute for the board.
std::optional<std::string> textInsteadOfFirmware(FirmwareText which) {
  switch (which) {
    case FirmwareText::serialNumber: {
      auto serial = firmwareFileText(literals::kVitalSerialNumberPath.str());
      return serial ? serial : firmwareFileText(literals::kDeviceTreeSerialPath.str());
    }
    case FirmwareText::productName:
      return firmwareFileText(literals::kDeviceTreeModelPath.str());
    case FirmwareText::model:
      return firmwareFileText(literals::kDeviceTreeCompatiblePath.str());
    case FirmwareText::boardName:
      return std::nullopt;
  }
  return std::nullopt;
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
  // Older kernels show the two in sysfs; a container may see sysfs but not the socket.
  return {presentAttribute(device, literals::kBluetoothNameProperty.str()),
          presentAttribute(device, literals::kBluetoothAddressProperty.str())};
}

// A bus also lists the interfaces of each device ("1-2:1.0") and its own root ("usb1").
bool isUSBDevice(const Device& device) {
  const std::string name = device.name();
  return name.find(':') == std::string::npos && name.rfind(literals::kUSBBus.view(), 0) != 0;
}

std::optional<std::vector<Device>> presentUSBDevices() {
  auto devices = devicesOf(literals::kUSBBus.str());
  if (!devices) return std::nullopt;
  devices->erase(std::remove_if(devices->begin(), devices->end(),
                                [](const Device& device) { return !isUSBDevice(device); }),
                 devices->end());
  return devices;
}

// Another device at the same port has a different number.
std::string usbDeviceKey(const Device& device) {
  return device.path() + " " +
         device.attribute(literals::kUSBDeviceNumberProperty.str()).value_or("");
}

ZORValue hexadecimalNumber(const std::optional<std::string>& text) {
  std::int64_t number = 0;
  const std::string digits = text.value_or("");
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number, 16);
  return result.ec == std::errc() && result.ptr == end ? ZORValue(number) : ZORValue();
}

USBDevice describeUSBDevice(const Device& device, const USBTextsByDevice& texts) {
  const auto own = texts.find(usbDeviceKey(device));
  const USBTexts said = own != texts.end() ? own->second : USBTexts();
  return {ZORValue::orNull(said.productName),
          hexadecimalNumber(device.attribute(literals::kUSBVendorIdProperty.str())),
          hexadecimalNumber(device.attribute(literals::kUSBProductIdProperty.str())),
          ZORValue::orNull(said.serialNumber)};
}

class LinuxDevices final : public DevicePort {
 public:
  std::optional<std::string> machineUuid() override { return hardwareUuid(); }

  // The kernel keeps the firmware texts, so reading one does not wait.
  std::optional<std::string> firmwareText(FirmwareText which) override {
    auto text = firstAttribute(literals::kFirmwareClass.str(), firmwareAttribute(which));
    return text ? text : textInsteadOfFirmware(which);
  }

  std::optional<BluetoothController> bluetoothController() override {
    return deviceReads().bluetooth.value();
  }

  // Neither the list nor the numbers wait for a device, so a device that does not answer is still
  // listed, without its texts.
  std::optional<std::vector<USBDevice>> usbDevices() override {
    const auto devices = presentUSBDevices();
    if (!devices) return std::nullopt;
    std::vector<USBDevice> described;
    if (devices->empty()) return described;
    const USBTextsByDevice texts = deviceReads().usbTexts.value();
    for (const Device& device : *devices) {
      USBDevice one = describeUSBDevice(device, texts);
      if (device.exists()) described.push_back(std::move(one));
    }
    return described;
  }

  std::optional<std::vector<HardwareAddress>> hardwareAddresses() override {
    return deviceReads().interfaceFacts.value().addresses;
  }

  std::optional<PowerSource> firstPowerSource() override {
    return deviceReads().powerSource.value();
  }

  std::optional<ZORValue> property(const std::string& deviceClass,
                                   const std::string& key) override {
    if (!isPlaceInSysfs(deviceClass) || !isPlaceInSysfs(key)) return std::nullopt;
    const auto text = deviceReads().attribute(deviceClass, key).value();
    return text ? std::optional<ZORValue>(*text) : std::nullopt;
  }

  std::unique_ptr<ReadAhead> readAhead() override {
    return std::make_unique<ReadsAhead>(deviceReads().all());
  }

 private:
  // The names that a host asks for must not lead out of the device's own folder.
  static bool isPlaceInSysfs(const std::string& name) {
    return !name.empty() && name.find("..") == std::string::npos &&
           name.find('\0') == std::string::npos;
  }
};

}  // namespace

std::optional<std::string> firstAttribute(const std::string& deviceClass, const std::string& key) {
  const auto devices = devicesOf(deviceClass);
  if (!devices || devices->empty()) return std::nullopt;
  return presentAttribute(devices->front(), key);
}

void readUSBTexts(Draft<USBTextsByDevice>& draft) {
  const auto devices = presentUSBDevices();
  if (!devices) return;
  for (const Device& device : *devices) {
    USBTexts texts{presentAttribute(device, literals::kUSBProductNameProperty.str()),
                   presentAttribute(device, literals::kUSBSerialNumberProperty.str())};
    draft.change([&](USBTextsByDevice& all) { all[usbDeviceKey(device)] = std::move(texts); });
  }
}

void readFirstPowerSource(Draft<std::optional<PowerSource>>& draft) {
  const auto supplies = devicesOf(literals::kPowerSupplyClass.str());
  if (!supplies) return;
  for (const Device& supply : *supplies) {
    const SupplyAttribute attribute = [&supply](const std::string& key) {
      return supply.attribute(key);
    };
    if (!isMachinePowerSource(attribute)) continue;
    auto source = powerSourceFromSupply(supply.name(), attribute);
    // Values of a battery that was removed meanwhile are dropped.
    if (supply.exists()) draft.set(std::move(source));
    return;
  }
}

// Prefers a built-in controller to a removable one.
void readBluetoothController(Draft<std::optional<BluetoothController>>& draft) {
  const auto devices = devicesOf(literals::kBluetoothClass.str());
  if (!devices) return;
  const Device* chosen = nullptr;
  for (const Device& device : *devices) {
    if (!controllerIndex(device.name())) continue;
    if (chosen == nullptr || (chosen->isRemovable() && !device.isRemovable())) chosen = &device;
  }
  if (chosen != nullptr) {
    draft.set(describeController(*chosen, controllerIndex(chosen->name()).value()));
  }
}

DevicePort& linuxDevicePort() {
  static constinit MadeOnce<LinuxDevices> port;
  return port.get();
}

}  // namespace zor
