// The interfaces that count for the machine's identity: those of permanent devices with permanent
// addresses.
#ifndef ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_
#define ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_

#include <optional>
#include <string>
#include <vector>

#include "platform/device_port.h"
#include "platform/linux/timed_read.h"
#include "platform/network_port.h"

namespace zor {

// An interface that is backed by a device.
struct BackedInterface {
  std::string name;
  std::string devicePath;  // The device's place in sysfs, which renaming does not change.
  std::string devicePort;  // Which of the device's ports it is.
  bool removable = false;
  bool wireless = false;
  bool wired = false;  // Real Ethernet: not wireless, a modem or the like.
  std::optional<Data> permanentAddress;
};

struct InterfaceFacts {
  // nullopt: the interfaces could not be listed.
  std::optional<std::vector<HardwareAddress>> addresses;
  DesignatedInterfaces designated;
};

// Sorts built-in devices first, then by the device's place, and picks the first and the second
// wired interface and the first wireless one. Interfaces without a permanent address do not count.
InterfaceFacts factsOfInterfaces(std::vector<BackedInterface> interfaces);

// Asks the kernel. Its answers about wireless interfaces and changed addresses may take time; all
// others are in the draft before those.
void readInterfaceFacts(Draft<InterfaceFacts>& draft);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_
