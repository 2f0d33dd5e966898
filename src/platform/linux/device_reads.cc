#include "platform/linux/device_reads.h"

#include "platform/posix/network_posix.h"
#include "support/process_generation.h"

namespace zor {
std::vector<TimedReadBase*> DeviceReads::all() {
  return {&usbTexts, &powerSource, &bluetooth, &wifi, &interfaceAddresses, &interfaceFacts};
}

TimedRead<std::optional<std::string>>& DeviceReads::attribute(const std::string& deviceClass,
                                                              const std::string& key) {
  const MutexLock lock(_mutex);
  auto& read = _attributes[{deviceClass, key}];
  if (!read) {
    read = std::make_unique<Attribute>(
        deviceClass + " " + key, [deviceClass, key](Draft<std::optional<std::string>>& draft) {
          draft.set(firstAttribute(deviceClass, key));
        });
  }
  return *read;
}

USBTextsByDevice DeviceReads::withEarlierTexts(USBTextsByDevice texts, USBTextsByDevice earlier) {
  texts.merge(earlier);
  return texts;
}

void DeviceReads::readAddressesOfInterfaces(Draft<InterfaceAddresses>& draft) {
  draft.set(readInterfaceAddresses());
}

// The child of a fork has none of the threads that were held up, so it starts afresh.
DeviceReads& deviceReads() {
  static constinit PerProcess<DeviceReads> reads;
  return reads.get();
}

}  // namespace zor
