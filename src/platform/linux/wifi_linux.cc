// The wireless interface as the kernel shows it to every user.
//
// Three tables are read: the interfaces for the name, the networks in range for the one that is
// joined (on some kernels the interface itself lacks its network's name if a supplicant joined it),
// and the stations for the current signal.
#include <cstdio>

#include "platform/linux/device_reads.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/wireless_tables.h"

namespace zor {
namespace {

std::string accessPointText(const Data& address) {
  std::string text;
  for (const std::uint8_t byte : address) {
    char digits[4];
    std::snprintf(digits, sizeof digits, text.empty() ? "%02x" : ":%02x", unsigned{byte});
    text += digits;
  }
  return text;
}

WiFiInterface describeJoined(const WirelessInterface& wireless, const Association& joined,
                             WirelessTables& tables) {
  WiFiInterface interface;
  interface.interfaceName = wireless.name;
  if (joined.ssid) interface.ssid = networkName(*joined.ssid);
  if (!interface.ssid && wireless.ssid) interface.ssid = networkName(*wireless.ssid);
  if (joined.accessPoint) interface.bssid = accessPointText(*joined.accessPoint);
  interface.rssiValue = tables.signal(wireless.index, joined.accessPoint).value_or(0);
  return interface;
}

class LinuxWiFi final : public WiFiPort {
 public:
  std::optional<WiFiInterface> defaultInterface() override { return deviceReads().wifi.value(); }
};

}  // namespace

void readWiFiInterface(Draft<std::optional<WiFiInterface>>& draft) {
  auto tables = WirelessTables::open();
  if (!tables) return;
  const auto interfaces = inOrderOfPreference(tables->interfaces());
  for (const WirelessInterface& wireless : interfaces) {
    const auto joined = wireless.station ? tables->association(wireless.index) : std::nullopt;
    if (joined) return draft.set(describeJoined(wireless, *joined, *tables));
  }
  if (interfaces.empty()) return;
  WiFiInterface unjoined;
  unjoined.interfaceName = interfaces.front().name;
  draft.set(std::move(unjoined));
}

WiFiPort& linuxWiFiPort() {
  static constinit MadeOnce<LinuxWiFi> port;
  return port.get();
}

}  // namespace zor
