#include "platform/linux/wireless_messages.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <iterator>

#include "support/text.h"

namespace zor {
namespace {

constexpr std::uint8_t kSsidElement = 0;

std::optional<Data> copied(const std::optional<Bytes>& bytes) {
  if (!bytes) return std::nullopt;
  return Data(bytes->begin(), bytes->end());
}

// What follows the generic header.
Bytes attributesOf(Bytes payload) {
  return payload.subspan(std::min(payload.size(), std::size_t{GENL_HDRLEN}));
}

std::optional<std::string> textOf(const std::optional<Bytes>& bytes) {
  if (!bytes) return std::nullopt;
  return textFromUtf8(Data(bytes->begin(), std::find(bytes->begin(), bytes->end(), 0)));
}

// Elements are a number, a length and so many bytes each.
std::optional<Data> ssidElement(Bytes elements) {
  while (elements.size() >= 2 && elements.size() - 2 >= elements[1]) {
    const Bytes value = elements.subspan(2, elements[1]);
    if (elements[0] == kSsidElement) return Data(value.begin(), value.end());
    elements = elements.subspan(2 + value.size());
  }
  return std::nullopt;
}

// The code points of the bytes 0x80 to 0x9F; bytes without a character stand for themselves.
constexpr std::uint16_t kWindowsLatin1[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void appendUtf8(std::string& text, unsigned codePoint) {
  if (codePoint < 0x80) {
    text += static_cast<char>(codePoint);
    return;
  }
  if (codePoint < 0x800) {
    text += static_cast<char>(0xC0 | codePoint >> 6);
  } else {
    text += static_cast<char>(0xE0 | codePoint >> 12);
    text += static_cast<char>(0x80 | (codePoint >> 6 & 0x3F));
  }
  text += static_cast<char>(0x80 | (codePoint & 0x3F));
}

std::string textFromWindowsLatin1(const Data& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    const bool mapped = byte >= 0x80 && byte < 0x80 + std::size(kWindowsLatin1);
    appendUtf8(text, mapped ? kWindowsLatin1[byte - 0x80] : byte);
  }
  return text;
}

}  // namespace

std::optional<WirelessInterface> wirelessInterfaceFromMessage(Bytes payload) {
  const Bytes attributes = attributesOf(payload);
  const auto index =
      netlinkNumber<std::uint32_t>(netlinkAttribute(attributes, NL80211_ATTR_IFINDEX));
  const auto name = textOf(netlinkAttribute(attributes, NL80211_ATTR_IFNAME));
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

std::optional<WirelessInterface> defaultAmong(const std::vector<WirelessInterface>& interfaces) {
  const auto first = std::min_element(
      interfaces.begin(), interfaces.end(), [](const auto& left, const auto& right) {
        return left.station != right.station ? left.station : left.index < right.index;
      });
  if (first == interfaces.end()) return std::nullopt;
  return *first;
}

std::optional<std::string> networkName(const Data& ssid) {
  const bool hidden =
      std::all_of(ssid.begin(), ssid.end(), [](std::uint8_t byte) { return byte == 0; });
  if (hidden) return std::nullopt;
  auto text = textFromUtf8(ssid);
  return text ? text : textFromWindowsLatin1(ssid);
}

}  // namespace zor
