// The interfaces that count for the machine's identity: those of devices that stay, by addresses
// that stay.
#ifndef ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_
#define ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_

#include <optional>
#include <string>
#include <vector>

#include "platform/device_port.h"
#include "platform/linux/timed_read.h"
#include "platform/network_port.h"

namespace zor {

// An interface that a device stands behind.
struct BackedInterface {
  std::string name;
  std::string devicePath;  // The device's place in sysfs, which no renaming changes.
  std::string devicePort;  // Which of the device's ports it is.
  bool removable = false;
  bool wireless = false;
  bool wired = false;  // Ethernet proper: neither wireless nor a modem or the like.
  std::optional<Data> permanentAddress;
};

struct InterfaceFacts {
  // nullopt: the interfaces could not be listed.
  std::optional<std::vector<HardwareAddress>> addresses;
  DesignatedInterfaces designated;
};

// Built-in devices first, then by the device's place: the first and the second wired interface, the
// first wireless one. Interfaces without a permanent address do not count.
InterfaceFacts factsOfInterfaces(std::vector<BackedInterface> interfaces);

// Asks the kernel. Its answers about wireless interfaces, and about addresses that somebody has
// changed, may take time; the draft has all others before.
void readInterfaceFacts(Draft<InterfaceFacts>& draft);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_INTERFACE_FACTS_H_
