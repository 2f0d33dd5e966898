#include "platform/linux/link_address.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <charconv>

#include "platform/probe_trace.h"

namespace zor {
namespace {

std::optional<Data> unlessZeros(Data address) {
  const bool meaningful =
      std::any_of(address.begin(), address.end(), [](std::uint8_t byte) { return byte != 0; });
  if (!meaningful) return std::nullopt;
  return address;
}

std::optional<std::uint8_t> hexByte(std::string_view digits) {
  std::uint8_t byte = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, byte, 16);
  if (digits.size() != 2 || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return byte;
}

}  // namespace

std::optional<Data> permanentAddressFromLink(Bytes payload) {
  if (payload.size() < sizeof(ifinfomsg)) return std::nullopt;
  const auto address = netlinkAttribute(payload.subspan(sizeof(ifinfomsg)), IFLA_PERM_ADDRESS);
  if (!address) return std::nullopt;
  return unlessZeros(Data(address->begin(), address->end()));
}

std::optional<Data> addressFromText(std::string_view text) {
  Data address;
  while (!text.empty()) {
    const auto byte = hexByte(text.substr(0, 2));
    if (!byte) return std::nullopt;
    address.push_back(*byte);
    text.remove_prefix(2);
    if (text.empty()) break;
    if (text.front() != ':' || text.size() == 1) return std::nullopt;
    text.remove_prefix(1);
  }
  return unlessZeros(std::move(address));
}

std::optional<Data> readPermanentAddress(const std::string& interfaceName) {
  noteProbeSource("rtnetlink");
  const ifinfomsg header = {};
  NetlinkRequest request(RTM_GETLINK, false,
                         {reinterpret_cast<const std::uint8_t*>(&header), sizeof header});
  request.addText(IFLA_IFNAME, interfaceName);
  request.addNumber(IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  NetlinkSocket socket(NETLINK_ROUTE);
  const auto answer = socket.ask(std::move(request));
  if (!answer || answer->empty()) return std::nullopt;
  return permanentAddressFromLink(answer->front());
}

}  // namespace zor
