#include "platform/posix/network_posix.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>

namespace zor {
namespace {

sockaddr_in ipv4(const char* text) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  EXPECT_EQ(::inet_pton(AF_INET, text, &address.sin_addr), 1);
  return address;
}

TEST(PosixNetwork, AnEntryKeepsItsInterfaceAndOnlyAddressesOfInternetFamilies) {
  char labelled[] = "eth0:1";
  sockaddr_in address = ipv4("192.0.2.7");
  ifaddrs entry{};
  entry.ifa_name = labelled;
  entry.ifa_flags = IFF_UP | IFF_RUNNING;
  entry.ifa_addr = reinterpret_cast<sockaddr*>(&address);
  const InterfaceAddress first = interfaceAddress(entry);
  EXPECT_EQ(first.interfaceName, "eth0");
  EXPECT_TRUE(first.running);
  EXPECT_EQ(first.family, AddressFamily::ipv4);
  ASSERT_EQ(first.socketAddress.size(), sizeof address);
  EXPECT_EQ(Data(first.socketAddress.begin() + 4, first.socketAddress.begin() + 8),
            (Data{192, 0, 2, 7}));

  // The size of other families' addresses is unknown, so none of it is read.
  address.sin_family = AF_UNIX;
  EXPECT_TRUE(interfaceAddress(entry).socketAddress.empty());
  entry.ifa_addr = nullptr;
  entry.ifa_flags = IFF_UP;
  EXPECT_EQ(interfaceAddress(entry).family, AddressFamily::other);
  EXPECT_FALSE(interfaceAddress(entry).running);
}

TEST(PosixNetwork, ServersOfAnotherFamilyAndTheAddressThatStandsForNoneAreSkipped) {
  const sockaddr_in servers[] = {ipv4("192.0.2.1"), {}, ipv4("0.0.0.0"), ipv4("192.0.2.3")};
  EXPECT_EQ(ipv4Servers(servers, 4), (std::vector<std::string>{"192.0.2.1", "192.0.2.3"}));
  EXPECT_TRUE(ipv4Servers(servers, 0).empty());
}

}  // namespace
}  // namespace zor
