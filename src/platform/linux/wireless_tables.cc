#include "platform/linux/wireless_tables.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "literals/literals.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

NetlinkRequest genericRequest(std::uint16_t family, std::uint8_t command, bool wholeTable) {
  const genlmsghdr header{command, 1, 0};
  return {family, wholeTable, {reinterpret_cast<const std::uint8_t*>(&header), sizeof header}};
}

}  // namespace

WirelessTables::WirelessTables() : _socket(NETLINK_GENERIC) {}

std::optional<WirelessTables> WirelessTables::open() {
  noteProbeSource(literals::kWirelessFolder.view());
  // Without a radio, the family is not requested: the kernel would load its module first.
  if (::access(literals::kWirelessFolder.c_str(), F_OK) != 0) return std::nullopt;
  noteProbeSource(literals::kWirelessFamily.view());
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

std::vector<WirelessInterface> WirelessTables::interfaces() {
  return rows(genericRequest(_family, NL80211_CMD_GET_INTERFACE, true),
              wirelessInterfaceFromMessage);
}

std::optional<Association> WirelessTables::association(std::uint32_t interfaceIndex) {
  const auto joined = rows(requestOf(NL80211_CMD_GET_SCAN, interfaceIndex), associationFromMessage);
  if (joined.empty()) return std::nullopt;
  return joined.front();
}

std::optional<std::int64_t> WirelessTables::signal(std::uint32_t interfaceIndex,
                                                   const std::optional<Data>& accessPoint) {
  const auto stations =
      rows(requestOf(NL80211_CMD_GET_STATION, interfaceIndex), stationSignalFromMessage);
  if (stations.empty()) return std::nullopt;
  const auto own = std::find_if(
      stations.begin(), stations.end(),
      [&](const StationSignal& station) { return station.accessPoint == accessPoint; });
  return own != stations.end() ? own->dbm : stations.front().dbm;
}

NetlinkRequest WirelessTables::requestOf(std::uint8_t command, std::uint32_t interfaceIndex) const {
  NetlinkRequest request = genericRequest(_family, command, true);
  request.addNumber(NL80211_ATTR_IFINDEX, interfaceIndex);
  return request;
}

template <typename Row>
std::vector<Row> WirelessTables::rows(NetlinkRequest request,
                                      std::optional<Row> (*rowFromMessage)(Bytes)) {
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

}  // namespace zor
