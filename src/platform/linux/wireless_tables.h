// The tables of the kernel's nl80211 family, which every user may read. Reading them never makes
// the radio scan.
#ifndef ZOR_PLATFORM_LINUX_WIRELESS_TABLES_H_
#define ZOR_PLATFORM_LINUX_WIRELESS_TABLES_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/netlink.h"
#include "platform/linux/wireless_messages.h"

namespace zor {

// May block: the kernel answers under its network lock. Confined to the thread that uses it.
class WirelessTables {
 public:
  // nullopt: the machine has no radio, or its kernel lacks the family.
  static std::optional<WirelessTables> open();

  std::vector<WirelessInterface> interfaces();
  // The network that an interface has joined.
  std::optional<Association> association(std::uint32_t interfaceIndex);
  // If there are several stations, as with a direct link, that of the access point.
  std::optional<std::int64_t> signal(std::uint32_t interfaceIndex,
                                     const std::optional<Data>& accessPoint);

 private:
  WirelessTables();

  NetlinkRequest requestOf(std::uint8_t command, std::uint32_t interfaceIndex) const;
  template <typename Row>
  std::vector<Row> rows(NetlinkRequest request, std::optional<Row> (*rowFromMessage)(Bytes));

  NetlinkSocket _socket;
  std::uint16_t _family = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_WIRELESS_TABLES_H_
