// The wireless interface as the kernel's nl80211 family shows it to every user.
//
// Three tables are read: the interfaces for the name, the networks seen for the one that is joined
// (the interface itself lacks its network's name on some kernels when a supplicant joined), the
// stations for the signal as it is now. None makes the radio scan.
#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "literals/literals.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/wireless_messages.h"
#include "platform/probe_trace.h"

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

class WirelessTables {
 public:
  // nullopt: the kernel has no such family.
  static std::optional<WirelessTables> open() {
    WirelessTables tables;
    NetlinkRequest request = genericRequest(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, false);
    request.addText(CTRL_ATTR_FAMILY_NAME, literals::kWirelessFamily.view());
    const auto answer = tables._socket.ask(std::move(request));
    const auto family =
        answer && !answer->empty() ? familyNumberFromMessage(answer->front()) : std::nullopt;
    if (!family) return std::nullopt;
    tables._family = *family;
    return tables;
  }

  std::vector<WirelessInterface> interfaces() {
    return rows(genericRequest(_family, NL80211_CMD_GET_INTERFACE, true),
                wirelessInterfaceFromMessage);
  }

  std::optional<Association> association(std::uint32_t interfaceIndex) {
    const auto joined =
        rows(requestOf(NL80211_CMD_GET_SCAN, interfaceIndex), associationFromMessage);
    if (joined.empty()) return std::nullopt;
    return joined.front();
  }

  // The access point's own row where there are several stations, as beside a direct link.
  std::optional<std::int64_t> signal(std::uint32_t interfaceIndex,
                                     const std::optional<Data>& accessPoint) {
    const auto stations =
        rows(requestOf(NL80211_CMD_GET_STATION, interfaceIndex), stationSignalFromMessage);
    if (stations.empty()) return std::nullopt;
    const auto own = std::find_if(
        stations.begin(), stations.end(),
        [&](const StationSignal& station) { return station.accessPoint == accessPoint; });
    return own != stations.end() ? own->dbm : stations.front().dbm;
  }

 private:
  WirelessTables() : _socket(NETLINK_GENERIC) {}

  static NetlinkRequest genericRequest(std::uint16_t family, std::uint8_t command,
                                       bool wholeTable) {
    const genlmsghdr header{command, 1, 0};
    return {family, wholeTable, {reinterpret_cast<const std::uint8_t*>(&header), sizeof header}};
  }

  NetlinkRequest requestOf(std::uint8_t command, std::uint32_t interfaceIndex) const {
    NetlinkRequest request = genericRequest(_family, command, true);
    request.addNumber(NL80211_ATTR_IFINDEX, interfaceIndex);
    return request;
  }

  template <typename Row>
  std::vector<Row> rows(NetlinkRequest request, std::optional<Row> (*rowFromMessage)(Bytes)) {
    std::vector<Row> found;
    const auto answer = _socket.ask(std::move(request));
    if (!answer) {
      if (_socket.lastError() == EPERM) noteProbeDenied(literals::kWirelessFamily.view());
      return found;
    }
    for (const Data& payload : *answer) {
      if (auto row = rowFromMessage(payload)) found.push_back(std::move(*row));
    }
    return found;
  }

  NetlinkSocket _socket;
  std::uint16_t _family = 0;
};

class LinuxWiFi final : public WiFiPort {
 public:
  std::optional<WiFiInterface> defaultInterface() override {
    noteProbeSource(literals::kWirelessFolder.view());
    // Without a radio the family is not asked for: the kernel would load its module first.
    if (::access(literals::kWirelessFolder.c_str(), F_OK) != 0) return std::nullopt;
    noteProbeSource(literals::kWirelessFamily.view());
    auto tables = WirelessTables::open();
    const auto wireless = tables ? defaultAmong(tables->interfaces()) : std::nullopt;
    if (!wireless) return std::nullopt;
    WiFiInterface interface;
    interface.interfaceName = wireless->name;
    if (const auto joined = tables->association(wireless->index)) {
      describe(interface, *wireless, *joined);
      interface.rssiValue = tables->signal(wireless->index, joined->accessPoint).value_or(0);
    }
    return interface;
  }

 private:
  static void describe(WiFiInterface& interface, const WirelessInterface& wireless,
                       const Association& joined) {
    if (joined.ssid) interface.ssid = networkName(*joined.ssid);
    if (!interface.ssid && wireless.ssid) interface.ssid = networkName(*wireless.ssid);
    if (joined.accessPoint) interface.bssid = accessPointText(*joined.accessPoint);
  }
};

}  // namespace

WiFiPort& linuxWiFiPort() {
  static constinit MadeOnce<LinuxWiFi> port;
  return port.get();
}

}  // namespace zor
