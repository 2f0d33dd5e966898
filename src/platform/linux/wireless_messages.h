// The kernel's messages about wireless interfaces (nl80211), as functions of their bytes.
#ifndef ZOR_PLATFORM_LINUX_WIRELESS_MESSAGES_H_
#define ZOR_PLATFORM_LINUX_WIRELESS_MESSAGES_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/netlink.h"

namespace zor {

struct WirelessInterface {
  std::uint32_t index = 0;
  std::string name;
  bool station = false;      // Joins networks rather than offering one or monitoring.
  std::optional<Data> ssid;  // Some kernels omit it if another program joined.
};

struct Association {
  std::optional<Data> ssid;
  std::optional<Data> accessPoint;
};

struct StationSignal {
  std::optional<Data> accessPoint;
  std::int64_t dbm = 0;
};

// Each takes the payload of one message of a table. nullopt: a wireless device without an interface
// (peer-to-peer management), a network in range but not joined, a station without a signal, damaged
// bytes.
std::optional<WirelessInterface> wirelessInterfaceFromMessage(Bytes payload);
std::optional<Association> associationFromMessage(Bytes payload);
std::optional<StationSignal> stationSignalFromMessage(Bytes payload);

// The number of a generic family, from the kernel's answer.
std::optional<std::uint16_t> familyNumberFromMessage(Bytes payload);

// Stations before interfaces of any other kind, each by index.
std::vector<WirelessInterface> inOrderOfPreference(std::vector<WirelessInterface> interfaces);

// A network's name: valid UTF-8 unchanged, except for a character that is cut at its end; anything
// else as Windows Latin 1. nullopt for a hidden name (empty, or zeros).
std::optional<std::string> networkName(const Data& ssid);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_WIRELESS_MESSAGES_H_
