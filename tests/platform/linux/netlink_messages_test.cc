#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/if_link.h>
#include <linux/nl80211.h>
#include <linux/rtnetlink.h>

#include <initializer_list>

#include "platform/linux/link_address.h"
#include "platform/linux/netlink.h"
#include "platform/linux/wireless_messages.h"

namespace zor {
namespace {

Data joined(std::initializer_list<Data> parts) {
  Data all;
  for (const Data& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An attribute as in a message, padded to four bytes.
Data attribute(std::uint16_t type, const Data& value) {
  const std::size_t length = 4 + value.size();
  Data bytes{static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8),
             static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(type >> 8)};
  bytes.insert(bytes.end(), value.begin(), value.end());
  bytes.resize((bytes.size() + 3) & ~std::size_t{3});
  return bytes;
}

Data number(std::uint8_t low) { return {low, 0, 0, 0}; }
Data text(const std::string& content) { return Data(content.begin(), content.end()); }

// A message: length, type, flags, sequence and port, then the payload.
Data message(std::uint16_t type, const Data& payload) {
  const auto length = static_cast<std::uint8_t>(16 + payload.size());
  return joined({{length, 0, 0, 0, static_cast<std::uint8_t>(type), 0},
                 Data(10, 0),
                 payload,
                 Data((4 - payload.size() % 4) % 4, 0)});
}

const Data kGenericHeader(GENL_HDRLEN, 0);
const Data kAccessPoint{0x02, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};

TEST(NetlinkAnswer, EndsAtItsLastMessageAndStopsAtDamage) {
  std::vector<Data> payloads;
  int error = 0;
  const Data first = message(16, {1, 2, 3});
  EXPECT_EQ(takeNetlinkPayloads(joined({first, message(16, {4})}), payloads, error),
            NetlinkProgress::more);
  EXPECT_EQ(takeNetlinkPayloads(message(NLMSG_DONE, number(0)), payloads, error),
            NetlinkProgress::finished);
  EXPECT_EQ(payloads, (std::vector<Data>{{1, 2, 3}, {4}}));

  EXPECT_EQ(takeNetlinkPayloads(message(NLMSG_ERROR, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0,
                                                      0,    0,    0,    0,    0, 0, 0, 0, 0, 0}),
                                payloads, error),
            NetlinkProgress::failed);
  EXPECT_EQ(error, 1);
  const Data cut(first.begin(), first.end() - 4);
  EXPECT_EQ(takeNetlinkPayloads(cut, payloads, error), NetlinkProgress::failed);
}

TEST(NetlinkAnswer, AttributesThatClaimMoreThanThereIsAreNotRead) {
  Data attributes = joined({attribute(1, {9}), attribute(2, {7, 7})});
  EXPECT_EQ(netlinkAttribute(attributes, 2)->size(), 2U);
  attributes[8] = 200;
  EXPECT_EQ(netlinkAttribute(attributes, 2), std::nullopt);
  attributes[0] = 0;
  EXPECT_EQ(netlinkAttribute(attributes, 2), std::nullopt);
  EXPECT_EQ(netlinkNumber<std::uint32_t>(netlinkAttribute(attribute(1, {9}), 1)), std::nullopt);
}

TEST(LinkAddress, IsThePermanentOneUnlessThereIsNone) {
  const Data header(sizeof(ifinfomsg), 0);
  const Data current = attribute(IFLA_ADDRESS, {9, 9, 9, 9, 9, 9});
  EXPECT_EQ(permanentAddressFromLink(
                joined({header, current, attribute(IFLA_PERM_ADDRESS, {0, 1, 2, 3, 4, 5})})),
            (Data{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(permanentAddressFromLink(joined({header, current})), std::nullopt);
  EXPECT_EQ(permanentAddressFromLink(joined({header, attribute(IFLA_PERM_ADDRESS, Data(6, 0))})),
            std::nullopt);
  EXPECT_EQ(permanentAddressFromLink({}), std::nullopt);

  EXPECT_EQ(addressFromText("54:e1:ad:3b:10:c7"), (Data{0x54, 0xe1, 0xad, 0x3b, 0x10, 0xc7}));
  for (const char* none : {"", "00:00:00:00:00:00", "54:e1:", "54-e1", "5:41", "zz"}) {
    EXPECT_EQ(addressFromText(none), std::nullopt) << none;
  }
}

TEST(WirelessMessages, StationsComeBeforeOtherInterfacesEachByIndex) {
  const auto row = [](std::uint8_t index, const std::string& name, std::uint8_t type) {
    return wirelessInterfaceFromMessage(
        joined({kGenericHeader, attribute(NL80211_ATTR_IFINDEX, number(index)),
                attribute(NL80211_ATTR_IFNAME, text(name + '\0')),
                attribute(NL80211_ATTR_IFTYPE, number(type))}));
  };
  const auto monitor = row(2, "mon0", NL80211_IFTYPE_MONITOR);
  const auto later = row(9, "wlan1", NL80211_IFTYPE_STATION);
  const auto first = row(5, "wlan0", NL80211_IFTYPE_STATION);
  const auto ordered = inOrderOfPreference({*monitor, *later, *first});
  EXPECT_EQ(ordered[0].name, "wlan0");
  EXPECT_EQ(ordered[1].name, "wlan1");
  EXPECT_EQ(ordered[2].name, "mon0");

  const Data peerToPeer = joined({kGenericHeader, attribute(NL80211_ATTR_IFTYPE, number(10))});
  EXPECT_FALSE(wirelessInterfaceFromMessage(peerToPeer).has_value());
  EXPECT_FALSE(wirelessInterfaceFromMessage({}).has_value());
}

Data seenNetwork(std::uint8_t status, const Data& elements) {
  return joined(
      {kGenericHeader, attribute(NL80211_ATTR_BSS | NLA_F_NESTED,
                                 joined({attribute(NL80211_BSS_BSSID, kAccessPoint),
                                         attribute(NL80211_BSS_INFORMATION_ELEMENTS, elements),
                                         attribute(NL80211_BSS_STATUS, number(status))}))});
}

TEST(WirelessMessages, OnlyTheJoinedNetworkCountsWithAnyNameOfUpTo32Bytes) {
  const Data name = text("0123456789abcdef0123456789ABCDEF");
  const Data elements = joined({{1, 2, 0x82, 0x84}, {0, 32}, name});
  const auto association =
      associationFromMessage(seenNetwork(NL80211_BSS_STATUS_ASSOCIATED, elements));
  ASSERT_TRUE(association.has_value());
  EXPECT_EQ(association->ssid, name);
  EXPECT_EQ(association->accessPoint, kAccessPoint);

  EXPECT_FALSE(
      associationFromMessage(seenNetwork(NL80211_BSS_STATUS_AUTHENTICATED, elements)).has_value());
  const auto damaged =
      associationFromMessage(seenNetwork(NL80211_BSS_STATUS_ASSOCIATED, {0, 9, 'a'}));
  EXPECT_EQ(damaged->ssid, std::nullopt);
}

TEST(WirelessMessages, NetworkNamesThatAreNotUtf8AreReadAsWindowsLatin1) {
  EXPECT_EQ(networkName(text("Zoë")), "Zoë");
  EXPECT_EQ(networkName({'Z', 'o', 0xEB}), "Zoë");
  EXPECT_EQ(networkName({0x80, ' ', 0x93, 0x9F, 0xFF, 0x81}), "€ “Ÿÿ\xC2\x81");
  const std::string base(29, 'n');
  EXPECT_EQ(networkName(text(base + "\xC3\xAB\xE2")), base + "ë") << "cut inside a character";
  EXPECT_EQ(networkName(text(base + "xx\xC3")), base + "xx");
  EXPECT_EQ(networkName(text(base + "\xEB\xEB\xEB")), base + "ëëë") << "Latin 1 after all";
  EXPECT_EQ(networkName({}), std::nullopt);
  EXPECT_EQ(networkName(Data(8, 0)), std::nullopt) << "hidden";
}

TEST(WirelessMessages, TheSignalIsSigned) {
  const auto signal = stationSignalFromMessage(
      joined({kGenericHeader, attribute(NL80211_ATTR_MAC, kAccessPoint),
              attribute(NL80211_ATTR_STA_INFO,
                        attribute(NL80211_STA_INFO_SIGNAL, {static_cast<std::uint8_t>(-63)}))}));
  ASSERT_TRUE(signal.has_value());
  EXPECT_EQ(signal->dbm, -63);
  EXPECT_EQ(signal->accessPoint, kAccessPoint);
}

}  // namespace
}  // namespace zor
