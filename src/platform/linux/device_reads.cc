#include "platform/linux/device_reads.h"

#include <unistd.h>

#include <atomic>

#include "platform/posix/network_posix.h"

namespace zor {
namespace {

struct ReadsOfProcess {
  explicit ReadsOfProcess(const ReadsOfProcess* others) : parents(others) {}

  const pid_t process = ::getpid();
  DeviceReads reads;
  const ReadsOfProcess* const parents;  // Left as they were at the fork.
};

}  // namespace

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

// Never destroyed: a thread that is held up comes back to them.
DeviceReads& deviceReads() {
  static std::atomic<ReadsOfProcess*> current{nullptr};
  ReadsOfProcess* reads = current.load(std::memory_order_acquire);
  while (reads == nullptr || reads->process != ::getpid()) {
    auto* fresh = new ReadsOfProcess(reads);
    if (current.compare_exchange_strong(reads, fresh, std::memory_order_acq_rel))
      return fresh->reads;
    delete fresh;
  }
  return reads->reads;
}

}  // namespace zor
