// Devices from the platform's registry and its list of power sources.
#import <Foundation/Foundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/ps/IOPowerSources.h>

#include <utility>

#include "literals/literals.h"
#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

// Owns one reference to a registry object.
class IOObject {
 public:
  explicit IOObject(io_object_t object) : _object(object) {}
  ~IOObject() {
    if (_object != IO_OBJECT_NULL) IOObjectRelease(_object);
  }
  IOObject(IOObject&& other) noexcept : _object(std::exchange(other._object, IO_OBJECT_NULL)) {}
  IOObject(const IOObject&) = delete;
  IOObject& operator=(const IOObject&) = delete;
  IOObject& operator=(IOObject&&) = delete;

  io_object_t get() const { return _object; }
  explicit operator bool() const { return _object != IO_OBJECT_NULL; }

 private:
  io_object_t _object;
};

// Both look-ups below consume the matching dictionary, even if they fail.
CFMutableDictionaryRef matchingClass(const std::string& serviceClass) {
  noteProbeSource(serviceClass);
  return IOServiceMatching(serviceClass.c_str());
}

IOObject firstService(const std::string& serviceClass) {
  CFMutableDictionaryRef matching = matchingClass(serviceClass);
  if (matching == nullptr) return IOObject(IO_OBJECT_NULL);
  return IOObject(IOServiceGetMatchingService(MACH_PORT_NULL, matching));
}

// nullopt: the registry could not be asked.
std::optional<std::vector<IOObject>> allServices(const std::string& serviceClass) {
  CFMutableDictionaryRef matching = matchingClass(serviceClass);
  if (matching == nullptr) return std::nullopt;
  io_iterator_t found = IO_OBJECT_NULL;
  if (IOServiceGetMatchingServices(MACH_PORT_NULL, matching, &found) != KERN_SUCCESS) {
    return std::nullopt;
  }
  const IOObject iterator(found);
  std::vector<IOObject> services;
  while (IOObject service{IOIteratorNext(iterator.get())}) services.push_back(std::move(service));
  return services;
}

std::optional<ZORValue> propertyOf(const IOObject& entry, const std::string& key) {
  @autoreleasepool {
    NSString* name = foundationString(key);
    if (!entry || name == nil) return std::nullopt;
    return valueFromObject(CFBridgingRelease(IORegistryEntryCreateCFProperty(
        entry.get(), (__bridge CFStringRef)name, kCFAllocatorDefault, 0)));
  }
}

std::optional<std::string> textOf(const IOObject& entry, const std::string& key) {
  const auto value = propertyOf(entry, key);
  return value.has_value() ? propertyText(*value) : std::nullopt;
}

std::string firmwareProperty(FirmwareText which) {
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
}

USBDevice describeUSBDevice(const IOObject& device) {
  const auto value = [&device](const auto& key) {
    return ZORValue::orNull(propertyOf(device, key.str()));
  };
  return {value(literals::kUSBProductNameProperty), value(literals::kUSBVendorIdProperty),
          value(literals::kUSBProductIdProperty), value(literals::kUSBSerialNumberProperty)};
}

// The address is a property of the controller above the interface.
HardwareAddress describeInterface(const IOObject& interface) {
  HardwareAddress address;
  io_registry_entry_t above = IO_OBJECT_NULL;
  address.deviceStatus =
      IORegistryEntryGetParentEntry(interface.get(), literals::kInterfacePlane.c_str(), &above);
  if (address.deviceStatus != KERN_SUCCESS) return address;
  const IOObject controller(above);
  const auto bytes = propertyOf(controller, literals::kHardwareAddressProperty.str());
  if (bytes.has_value() && bytes->isData()) address.bytes = *bytes->data();
  const auto name = propertyOf(interface, literals::kInterfaceNameProperty.str());
  if (name.has_value() && name->isText()) address.interfaceName = *name->text();
  return address;
}

PowerSource describePowerSource(NSDictionary* description) {
  const auto value = [description](const auto& key) {
    return ZORValue::orNull(valueFromObject(description[foundationString(key.view())]));
  };
  return {value(literals::kPowerChargeKey).integer(),
          value(literals::kPowerFullChargeKey).integer(), value(literals::kPowerStateKey),
          value(literals::kPowerNameKey)};
}

class MacDevices final : public DevicePort {
 public:
  std::optional<std::string> machineUuid() override {
    return textOf(firstService(literals::kMachineClass.str()),
                  literals::kHardwareUUIDProperty.str());
  }

  std::optional<std::string> firmwareText(FirmwareText which) override {
    return textOf(firstService(literals::kMachineClass.str()), firmwareProperty(which));
  }

  std::optional<BluetoothController> bluetoothController() override {
    const IOObject controller = firstService(literals::kBluetoothClass.str());
    if (!controller) {
      // Since this version the registry no longer has it, and what does have it may be asked only
      // by hosts that declare a purpose: the system ends any other.
      if (@available(macOS 12, *)) noteProbeUnavailable(literals::kBluetoothClass.str());
      return std::nullopt;
    }
    return BluetoothController{textOf(controller, literals::kBluetoothNameProperty.str()),
                               textOf(controller, literals::kBluetoothAddressProperty.str())};
  }

  std::optional<std::vector<USBDevice>> usbDevices() override {
    const auto services = allServices(literals::kUSBDeviceClass.str());
    if (!services.has_value()) return std::nullopt;
    std::vector<USBDevice> devices;
    for (const IOObject& service : *services) devices.push_back(describeUSBDevice(service));
    return devices;
  }

  std::optional<std::vector<HardwareAddress>> hardwareAddresses() override {
    const auto services = allServices(literals::kInterfaceClass.str());
    if (!services.has_value()) return std::nullopt;
    std::vector<HardwareAddress> addresses;
    for (const IOObject& service : *services) addresses.push_back(describeInterface(service));
    return addresses;
  }

  // The list holds only the machine's own batteries and supplies, not those of peripherals.
  std::optional<PowerSource> firstPowerSource() override {
    noteProbeSource("IOPowerSources");
    @autoreleasepool {
      // Kept to the end of the scope: the calls below borrow from it behind the compiler's back.
      NS_VALID_UNTIL_END_OF_SCOPE id information = CFBridgingRelease(IOPSCopyPowerSourcesInfo());
      if (information == nil) return std::nullopt;
      CFTypeRef blob = (__bridge CFTypeRef)information;
      NSArray* sources = CFBridgingRelease(IOPSCopyPowerSourcesList(blob));
      if (sources.count == 0) return std::nullopt;
      // Borrowed from `information`.
      CFDictionaryRef description =
          IOPSGetPowerSourceDescription(blob, (__bridge CFTypeRef)sources[0]);
      if (description == nullptr) return std::nullopt;
      return describePowerSource((__bridge NSDictionary*)description);
    }
  }

  std::optional<ZORValue> property(const std::string& deviceClass,
                                   const std::string& key) override {
    return propertyOf(firstService(deviceClass), key);
  }
};

}  // namespace

DevicePort& macosDevicePort() {
  static constinit MadeOnce<MacDevices> port;
  return port.get();
}

}  // namespace zor
