// Every kind of read that can be held up.
#ifndef ZOR_PLATFORM_LINUX_DEVICE_READS_H_
#define ZOR_PLATFORM_LINUX_DEVICE_READS_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_port.h"
#include "platform/linux/interface_facts.h"
#include "platform/linux/timed_read.h"
#include "platform/network_port.h"
#include "platform/wifi_port.h"
#include "support/mutex.h"

namespace zor {

// The texts of a USB device. Reading them waits while the device answers another request.
struct USBTexts {
  std::optional<std::string> productName;
  std::optional<std::string> serialNumber;
};
using USBTextsByDevice = std::map<std::string, USBTexts>;
using InterfaceAddresses = std::optional<std::vector<InterfaceAddress>>;

void readUSBTexts(Draft<USBTextsByDevice>& draft);
void readFirstPowerSource(Draft<std::optional<PowerSource>>& draft);
void readBluetoothController(Draft<std::optional<BluetoothController>>& draft);
void readWiFiInterface(Draft<std::optional<WiFiInterface>>& draft);

// Callable from any thread.
class DeviceReads {
 public:
  TimedRead<USBTextsByDevice> usbTexts{"USB devices", readUSBTexts, withEarlierTexts};
  TimedRead<std::optional<PowerSource>> powerSource{"power supplies", readFirstPowerSource};
  TimedRead<std::optional<BluetoothController>> bluetooth{"Bluetooth controllers",
                                                          readBluetoothController};
  TimedRead<std::optional<WiFiInterface>> wifi{"wireless interfaces", readWiFiInterface};
  TimedRead<InterfaceAddresses> interfaceAddresses{"addresses of interfaces",
                                                   readAddressesOfInterfaces};
  TimedRead<InterfaceFacts> interfaceFacts{"network interfaces", readInterfaceFacts};

  // The reads above, in the order in which a collection asks for them.
  std::vector<TimedReadBase*> all();

  // An attribute of the first device of a class or bus. Each attribute is a separate kind of read.
  TimedRead<std::optional<std::string>>& attribute(const std::string& deviceClass,
                                                   const std::string& key) ZOR_EXCLUDES(_mutex);

 private:
  using Attribute = TimedRead<std::optional<std::string>>;

  static USBTextsByDevice withEarlierTexts(USBTextsByDevice texts, USBTextsByDevice earlier);
  static void readAddressesOfInterfaces(Draft<InterfaceAddresses>& draft);

  // Guards the map. Its elements are never removed.
  Mutex _mutex;
  std::map<std::pair<std::string, std::string>, std::unique_ptr<Attribute>> _attributes
      ZOR_GUARDED_BY(_mutex);
};

// The reads of this process. The child of a fork has its own; a read under way stays with the
// parent.
DeviceReads& deviceReads();

// Reads the attribute in the calling thread; nullopt also if it is empty, which is how firmware and
// kernel show that there is no value.
std::optional<std::string> firstAttribute(const std::string& deviceClass, const std::string& key);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DEVICE_READS_H_
