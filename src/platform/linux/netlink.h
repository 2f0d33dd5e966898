// Questions to the kernel over netlink sockets.
//
// Written directly against the kernel's interface: this backend's two requests do not justify a
// netlink library, which costs every host more to load than the requests take.
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

// The value of the first attribute of `type` among `attributes`; nullopt if there is none, or the
// bytes before it are damaged.
std::optional<Bytes> netlinkAttribute(Bytes attributes, std::uint16_t type);

// An attribute's value as a number of that width; nullopt if it is too short.
template <typename Number>
std::optional<Number> netlinkNumber(const std::optional<Bytes>& value) {
  if (!value || value->size() < sizeof(Number)) return std::nullopt;
  Number number = 0;
  std::copy_n(value->data(), sizeof number, reinterpret_cast<std::uint8_t*>(&number));
  return number;
}

// A request: a message type, the fixed header of that type, attributes.
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

// The state of an answer after one datagram.
enum class NetlinkProgress { more, finished, failed };

// Appends the payloads (what follows the netlink header) of the messages in `datagram`. Sets
// `errorNumber` if the kernel refused.
NetlinkProgress takeNetlinkPayloads(Bytes datagram, std::vector<Data>& payloads, int& errorNumber);

// One socket. Confined to the thread that uses it.
class NetlinkSocket {
 public:
  // `protocol` is a NETLINK_ number. If the socket cannot be opened, every request fails.
  explicit NetlinkSocket(int protocol);

  // The payloads of the answer; nullopt if the request failed; lastError() says why.
  std::optional<std::vector<Data>> ask(NetlinkRequest request);
  int lastError() const { return _lastError; }

 private:
  std::optional<std::vector<Data>> receive(bool wholeTable);

  FileDescriptor _socket;
  int _lastError = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NETLINK_H_
