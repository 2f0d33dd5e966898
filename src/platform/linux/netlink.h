// Questions to the kernel over netlink sockets.
//
// Written against the kernel's own interface: the two questions of this backend need neither of the
// netlink libraries, whose loading costs every host more than asking does.
#ifndef ZOR_PLATFORM_LINUX_NETLINK_H_
#define ZOR_PLATFORM_LINUX_NETLINK_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/posix/file_io.h"

namespace zor {

using Bytes = std::span<const std::uint8_t>;

// The value of the first attribute of `type` among `attributes`; nullopt when there is none or the
// bytes are damaged before it.
std::optional<Bytes> netlinkAttribute(Bytes attributes, std::uint16_t type);

// An attribute's value as a number of that width; nullopt when it is too short.
template <typename Number>
std::optional<Number> netlinkNumber(const std::optional<Bytes>& value) {
  if (!value || value->size() < sizeof(Number)) return std::nullopt;
  Number number = 0;
  std::copy_n(value->data(), sizeof number, reinterpret_cast<std::uint8_t*>(&number));
  return number;
}

// A question: a message type, the fixed header of that type, attributes.
class NetlinkRequest {
 public:
  // `wholeTable`: asks for every object instead of one.
  NetlinkRequest(std::uint16_t messageType, bool wholeTable, Bytes fixedHeader);
  void addAttribute(std::uint16_t type, Bytes value);
  void addText(std::uint16_t type, std::string_view text);  // With its terminating NUL.
  void addNumber(std::uint16_t type, std::uint32_t number);

  bool wholeTable() const { return _wholeTable; }
  // The message as it is sent.
  const Data& message();

 private:
  Data _message;
  const bool _wholeTable;
};

// What came of reading one datagram.
enum class NetlinkProgress { more, finished, failed };

// Appends the payloads (what follows the netlink header) of the messages in `datagram`.
// `errorNumber` is set when the kernel refused.
NetlinkProgress takeNetlinkPayloads(Bytes datagram, std::vector<Data>& payloads, int& errorNumber);

// One socket. Confined to the thread that uses it.
class NetlinkSocket {
 public:
  // `protocol` is a NETLINK_ number. A socket that cannot be opened answers nothing.
  explicit NetlinkSocket(int protocol);

  // The payloads of the answer; nullopt when it failed, with the reason in lastError().
  std::optional<std::vector<Data>> ask(NetlinkRequest request);
  int lastError() const { return _lastError; }

 private:
  std::optional<std::vector<Data>> receive(bool wholeTable);

  FileDescriptor _socket;
  int _lastError = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NETLINK_H_
