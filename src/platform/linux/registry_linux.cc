// The registry over sysfs, with what sysfs does not show from the kernel's own sockets:
//   "machine"    one service on every machine; its UUID follows from the machine id
//   "bluetooth"  name and address of a controller from the management socket
//   "net"        interfaces backed by a device; the device above one has the permanent address
//   any other    the devices of a class or bus and their sysfs attributes
#include <cerrno>
#include <charconv>

#include "literals/literals.h"
#include "platform/linux/bluetooth_management.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/link_address.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/machine_uuid.h"
#include "support/text.h"

namespace zor {
namespace {

using Entries = std::vector<std::unique_ptr<RegistryEntry>>;

std::optional<RegistryValue> textValue(std::optional<std::string> text) {
  if (!text) return std::nullopt;
  return RegistryValue(std::move(*text));
}

// What sysfs shows as four hexadecimal digits is a number in the registry.
bool isNumberKey(const std::string& key) {
  return key == literals::kUSBVendorIdProperty.view() ||
         key == literals::kUSBProductIdProperty.view();
}

std::optional<RegistryValue> hexadecimalValue(const std::string& text) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, 16);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return RegistryValue(number);
}

class DeviceEntry : public RegistryEntry {
 public:
  explicit DeviceEntry(Device device) : _device(std::move(device)) {}

  std::optional<RegistryValue> property(const std::string& key) override {
    auto text = _device.attribute(key);
    // An attribute without content is how firmware and kernel show that there is no value.
    if (!text || text->empty()) return std::nullopt;
    return isNumberKey(key) ? hexadecimalValue(*text) : textValue(std::move(text));
  }

  RegistryParent parent(const std::string& plane) override {
    auto above = plane == literals::kInterfacePlane.view() ? _device.behind() : std::nullopt;
    if (!above) return {nullptr, ENODEV};
    return {std::make_unique<DeviceEntry>(std::move(*above)), 0};
  }

 protected:
  const Device& device() const { return _device; }

 private:
  const Device _device;
};

// The device behind an interface.
class InterfaceDeviceEntry final : public DeviceEntry {
 public:
  InterfaceDeviceEntry(Device device, Device networkDevice)
      : DeviceEntry(std::move(device)), _networkDevice(std::move(networkDevice)) {}

  std::optional<RegistryValue> property(const std::string& key) override {
    if (key != literals::kHardwareAddressProperty.view()) return DeviceEntry::property(key);
    auto address = readPermanentAddress(_networkDevice.name());
    if (!address) address = currentAddress();
    if (!address) return std::nullopt;
    return RegistryValue(std::move(*address));
  }

 private:
  std::optional<Data> currentAddress() {
    const auto text = _networkDevice.attribute(literals::kCurrentAddressProperty.str());
    return text ? addressFromText(*text) : std::nullopt;
  }

  const Device _networkDevice;
};

class InterfaceEntry final : public DeviceEntry {
 public:
  using DeviceEntry::DeviceEntry;

  std::optional<RegistryValue> property(const std::string& key) override {
    if (key != literals::kInterfaceKeyProperty.view()) return DeviceEntry::property(key);
    // The kernel lets an interface be named with any bytes.
    const std::string name = device().name();
    return isValidUtf8(name) ? textValue(name) : std::nullopt;
  }

  RegistryParent parent(const std::string& plane) override {
    auto above = plane == literals::kInterfacePlane.view() ? device().behind() : std::nullopt;
    if (!above) return {nullptr, ENODEV};
    return {std::make_unique<InterfaceDeviceEntry>(std::move(*above), device()), 0};
  }
};

class ControllerEntry final : public DeviceEntry {
 public:
  ControllerEntry(Device device, std::uint16_t index)
      : DeviceEntry(std::move(device)), _index(index) {}

  std::optional<RegistryValue> property(const std::string& key) override {
    const bool isName = key == literals::kBluetoothNameProperty.view();
    if (!isName && key != literals::kBluetoothAddressProperty.view()) {
      return DeviceEntry::property(key);
    }
    const auto info = readControllerInfo(_index);
    // Older kernels show the two in sysfs; a container may see that and not the socket.
    if (!info) return DeviceEntry::property(key);
    return textValue(isName ? info->name : info->address);
  }

 private:
  const std::uint16_t _index;
};

class MachineEntry final : public RegistryEntry {
 public:
  std::optional<RegistryValue> property(const std::string& key) override {
    if (key != literals::kHardwareUUIDProperty.view()) return std::nullopt;
    return textValue(hardwareUuid());
  }
  RegistryParent parent(const std::string&) override { return {nullptr, ENODEV}; }
};

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

std::unique_ptr<RegistryEntry> controllerEntry(Device device) {
  const auto index = controllerIndex(device.name());
  return index ? std::make_unique<ControllerEntry>(std::move(device), *index) : nullptr;
}

// A bus lists the interfaces of each device as well; their names have a colon.
std::unique_ptr<RegistryEntry> usbDeviceEntry(Device device) {
  const bool isDevice = device.name().find(':') == std::string::npos &&
                        device.type() == literals::kUSBDeviceClass.view();
  return isDevice ? std::make_unique<DeviceEntry>(std::move(device)) : nullptr;
}

template <typename Make>
std::optional<Entries> entries(std::optional<std::vector<Device>> devices, Make make) {
  if (!devices) return std::nullopt;
  Entries made;
  for (Device& device : *devices) {
    if (auto entry = make(std::move(device))) made.push_back(std::move(entry));
  }
  return made;
}

template <typename Entry>
std::unique_ptr<RegistryEntry> entryOf(Device device) {
  return std::make_unique<Entry>(std::move(device));
}

std::optional<Entries> machineServices() {
  Entries machine;
  machine.push_back(std::make_unique<MachineEntry>());
  return machine;
}

class LinuxRegistry final : public RegistryPort {
 public:
  std::unique_ptr<RegistryEntry> firstService(const std::string& serviceClass) override {
    auto found = services(serviceClass);
    if (!found || found->empty()) return nullptr;
    return std::move(found->front());
  }

  std::optional<Entries> services(const std::string& serviceClass) override {
    if (serviceClass == literals::kHardwareUUIDClass.view()) return machineServices();
    if (serviceClass == literals::kBluetoothNameClass.view()) {
      return entries(devicesOf(serviceClass), controllerEntry);
    }
    if (serviceClass == literals::kInterfaceClass.view()) {
      return entries(interfacesBackedByDevices(), entryOf<InterfaceEntry>);
    }
    if (serviceClass == literals::kUSBDeviceClass.view()) {
      return entries(devicesOf(literals::kUSBSubsystem.str()), usbDeviceEntry);
    }
    return entries(devicesOf(serviceClass), entryOf<DeviceEntry>);
  }
};

}  // namespace

RegistryPort& linuxRegistryPort() {
  static auto& port = *new LinuxRegistry;
  return port;
}

}  // namespace zor
