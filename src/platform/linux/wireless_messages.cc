#include "platform/linux/wireless_messages.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <algorithm>

#include "platform/linux/decoded_text.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr std::uint8_t kSsidElement = 0;
constexpr std::size_t kMaxSsidBytes = 32;

std::optional<Data> copied(const std::optional<Bytes>& bytes) {
  if (!bytes) return std::nullopt;
  return Data(bytes->begin(), bytes->end());
}

// What follows the generic header.
Bytes attributesOf(Bytes payload) {
  return payload.subspan(std::min(payload.size(), std::size_t{GENL_HDRLEN}));
}

std::optional<std::string> textOfAttribute(const std::optional<Bytes>& bytes) {
  if (!bytes) return std::nullopt;
  return textFromUtf8(Data(bytes->begin(), std::find(bytes->begin(), bytes->end(), 0)));
}

// Each element is a number, a length and that many bytes.
std::optional<Data> ssidElement(Bytes elements) {
  while (elements.size() >= 2 && elements.size() - 2 >= elements[1]) {
    const Bytes value = elements.subspan(2, elements[1]);
    if (elements[0] == kSsidElement) return Data(value.begin(), value.end());
    elements = elements.subspan(2 + value.size());
  }
  return std::nullopt;
}

}  // namespace

std::optional<WirelessInterface> wirelessInterfaceFromMessage(Bytes payload) {
  const Bytes attributes = attributesOf(payload);
  const auto index =
      netlinkNumber<std::uint32_t>(netlinkAttribute(attributes, NL80211_ATTR_IFINDEX));
  const auto name = textOfAttribute(netlinkAttribute(attributes, NL80211_ATTR_IFNAME));
  if (!index || !name || name->empty()) return std::nullopt;
  const auto type = netlinkNumber<std::uint32_t>(netlinkAttribute(attributes, NL80211_ATTR_IFTYPE));
  return WirelessInterface{*index, *name, type == std::uint32_t{NL80211_IFTYPE_STATION},
                           copied(netlinkAttribute(attributes, NL80211_ATTR_SSID))};
}

std::optional<Association> associationFromMessage(Bytes payload) {
  const auto network = netlinkAttribute(attributesOf(payload), NL80211_ATTR_BSS);
  if (!network) return std::nullopt;
  const auto status = netlinkNumber<std::uint32_t>(netlinkAttribute(*network, NL80211_BSS_STATUS));
  const bool joined = status == std::uint32_t{NL80211_BSS_STATUS_ASSOCIATED} ||
                      status == std::uint32_t{NL80211_BSS_STATUS_IBSS_JOINED};
  if (!joined) return std::nullopt;
  const auto elements = netlinkAttribute(*network, NL80211_BSS_INFORMATION_ELEMENTS);
  return Association{elements ? ssidElement(*elements) : std::nullopt,
                     copied(netlinkAttribute(*network, NL80211_BSS_BSSID))};
}

std::optional<StationSignal> stationSignalFromMessage(Bytes payload) {
  const Bytes attributes = attributesOf(payload);
  const auto station = netlinkAttribute(attributes, NL80211_ATTR_STA_INFO);
  if (!station) return std::nullopt;
  const auto signal =
      netlinkNumber<std::int8_t>(netlinkAttribute(*station, NL80211_STA_INFO_SIGNAL));
  if (!signal) return std::nullopt;
  return StationSignal{copied(netlinkAttribute(attributes, NL80211_ATTR_MAC)), *signal};
}

std::optional<std::uint16_t> familyNumberFromMessage(Bytes payload) {
  return netlinkNumber<std::uint16_t>(netlinkAttribute(attributesOf(payload), CTRL_ATTR_FAMILY_ID));
}

std::vector<WirelessInterface> inOrderOfPreference(std::vector<WirelessInterface> interfaces) {
  std::sort(interfaces.begin(), interfaces.end(), [](const auto& left, const auto& right) {
    return left.station != right.station ? left.station : left.index < right.index;
  });
  return interfaces;
}

std::optional<std::string> networkName(const Data& ssid) {
  const bool hidden =
      std::all_of(ssid.begin(), ssid.end(), [](std::uint8_t byte) { return byte == 0; });
  if (hidden) return std::nullopt;
  // A name of the maximum length may have been cut.
  const std::string_view name = textOf(ssid);
  return decodedText(ssid.size() < kMaxSsidBytes ? name : withoutCutCharacter(name));
}

}  // namespace zor
