#include <ZORFingerPrint/ZORProbes.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>

#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

InterfaceAddress ipv4(const std::string& interface, bool running, const Data& address) {
  Data bytes(8, 0);
  std::copy(address.begin(), address.end(), bytes.begin() + 4);
  return {interface, running, AddressFamily::ipv4, bytes};
}

TEST(HardwareAddresses, AreHexWithSeparatorsByInterfaceTheLaterWinning) {
  FakeMachine machine;
  machine.devices.addresses = {{"eth0", Data{1, 2}},
                               {"wlan0", Data{0xFE}},
                               {"eth0", Data{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}},
                               {"none", Data{}},
                               {"absent", std::nullopt},
                               {std::nullopt, Data{1}}};
  EXPECT_EQ(getMacAddress(), (std::map<std::string, std::string>{
                                 {"eth0", "00:1A:2B:3C:4D:5E"}, {"none", ""}, {"wlan0", "FE"}}));
}

TEST(HardwareAddresses, WithoutADeviceAreSkippedWithALineOnStandardOutput) {
  FakeMachine machine;
  machine.devices.addresses = {{"eth0", std::nullopt, -536870208}};
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(getMacAddress(), std::nullopt);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("0xe00002c0\n"), std::string::npos);

  machine.devices.addresses.reset();
  EXPECT_EQ(getMacAddress(), std::nullopt);
}

TEST(IPAddresses, ComeFromRunningReportedInterfacesOnly) {
  FakeMachine machine;
  machine.network.reported = {"eth0", "wlan0"};
  machine.network.addresses = {
      ipv4("eth1", true, {10, 0, 0, 1}), ipv4("wlan0", true, {192, 168, 1, 20}),
      ipv4("eth0", false, {10, 0, 0, 2}), ipv4("eth0", true, {10, 0, 0, 3}),
      ipv4("wlan0", true, {192, 168, 1, 20})};
  machine.network.addresses->push_back({"eth0", true, AddressFamily::other, Data(64, 1)});
  machine.network.addresses->push_back({"eth0", true, AddressFamily::ipv6, Data(19, 1)});
  EXPECT_EQ(getIPAddresses(),
            (std::vector<std::string>{"192.168.1.20", "10.0.0.3", "192.168.1.20"}));
  machine.network.reported = {};
  EXPECT_TRUE(getIPAddresses().empty());
}

TEST(IPAddresses, OfIPv6AreReadFromTheFlowLabelOn) {
  FakeMachine machine;
  machine.network.reported = {"eth0"};
  sockaddr_in6 address = {};
  const std::uint8_t bytes[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6};
  std::memcpy(&address.sin6_addr, bytes, sizeof bytes);
  const auto* raw = reinterpret_cast<const std::uint8_t*>(&address);
  machine.network.addresses = {
      {"eth0", true, AddressFamily::ipv6, Data(raw, raw + sizeof address)}};
  EXPECT_EQ(getIPAddresses(), std::vector<std::string>{"::2001:db8:1:2:3:4"});
}

TEST(WiFi, RecordHasEmptyTextsWithoutAnAssociation) {
  FakeMachine machine;
  EXPECT_EQ(getWiFiInfo(), std::nullopt);
  machine.wifi.interface = WiFiInterface{};
  EXPECT_EQ(getWiFiInfo(), ZORValue::dictionary({{"wifiInterfaceName", ""},
                                                 {"wifiNetworkName", ""},
                                                 {"wifiAccessPoint", ""},
                                                 {"wifiSignalDbm", 0}}));
  machine.wifi.interface = WiFiInterface{"wlan0", "Café", "02:1a:2b:3c:4d:5e", -63};
  EXPECT_EQ(getWiFiInfo(), ZORValue::dictionary({{"wifiInterfaceName", "wlan0"},
                                                 {"wifiNetworkName", "Café"},
                                                 {"wifiAccessPoint", "02:1a:2b:3c:4d:5e"},
                                                 {"wifiSignalDbm", -63}}));
}

}  // namespace
}  // namespace zor
