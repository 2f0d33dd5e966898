#include "platform/linux/netlink.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zor {
namespace {

// The kernel answers at once; the limit is for a kernel that does not.
constexpr timeval kMaxWait{0, 100000};
// The kernel packs answers into at most 32 KiB.
constexpr std::size_t kDatagramBytes = std::size_t{32} << 10;

std::size_t aligned(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

template <typename Header>
Header headerAt(Bytes bytes) {
  Header header;
  std::memcpy(&header, bytes.data(), sizeof header);
  return header;
}

void append(Data& data, Bytes bytes) {
  data.insert(data.end(), bytes.begin(), bytes.end());
  data.resize(aligned(data.size()), 0);
}

template <typename Header>
Bytes bytesOf(const Header& header) {
  return {reinterpret_cast<const std::uint8_t*>(&header), sizeof header};
}

// An error message with the number 0 is an acknowledgment.
NetlinkProgress errorOutcome(Bytes payload, int& errorNumber) {
  errorNumber = payload.size() >= sizeof(nlmsgerr) ? -headerAt<nlmsgerr>(payload).error : EPROTO;
  return errorNumber == 0 ? NetlinkProgress::finished : NetlinkProgress::failed;
}

}  // namespace

std::optional<Bytes> netlinkAttribute(Bytes attributes, std::uint16_t type) {
  while (attributes.size() >= sizeof(nlattr)) {
    const auto header = headerAt<nlattr>(attributes);
    if (header.nla_len < sizeof header || header.nla_len > attributes.size()) return std::nullopt;
    if ((header.nla_type & NLA_TYPE_MASK) == type) {
      return attributes.subspan(sizeof header, header.nla_len - sizeof header);
    }
    attributes = attributes.subspan(std::min(aligned(header.nla_len), attributes.size()));
  }
  return std::nullopt;
}

NetlinkRequest::NetlinkRequest(std::uint16_t messageType, bool wholeTable, Bytes fixedHeader)
    : _wholeTable(wholeTable) {
  nlmsghdr header = {};
  header.nlmsg_type = messageType;
  header.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | (wholeTable ? NLM_F_DUMP : 0));
  append(_message, bytesOf(header));
  append(_message, fixedHeader);
}

void NetlinkRequest::addAttribute(std::uint16_t type, Bytes value) {
  const nlattr header{static_cast<std::uint16_t>(sizeof(nlattr) + value.size()), type};
  append(_message, bytesOf(header));
  append(_message, value);
}

void NetlinkRequest::addText(std::uint16_t type, std::string_view text) {
  Data value(text.begin(), text.end());
  value.push_back(0);
  addAttribute(type, value);
}

void NetlinkRequest::addNumber(std::uint16_t type, std::uint32_t number) {
  addAttribute(type, bytesOf(number));
}

const Data& NetlinkRequest::message() {
  const auto length = static_cast<std::uint32_t>(_message.size());
  std::memcpy(_message.data() + offsetof(nlmsghdr, nlmsg_len), &length, sizeof length);
  return _message;
}

NetlinkProgress takeNetlinkPayloads(Bytes datagram, std::vector<Data>& payloads, int& errorNumber) {
  while (datagram.size() >= sizeof(nlmsghdr)) {
    const auto header = headerAt<nlmsghdr>(datagram);
    if (header.nlmsg_len < sizeof header || header.nlmsg_len > datagram.size()) {
      errorNumber = EPROTO;
      return NetlinkProgress::failed;
    }
    const Bytes payload = datagram.subspan(sizeof header, header.nlmsg_len - sizeof header);
    if (header.nlmsg_type == NLMSG_DONE) return NetlinkProgress::finished;
    if (header.nlmsg_type == NLMSG_ERROR) return errorOutcome(payload, errorNumber);
    if (header.nlmsg_type >= NLMSG_MIN_TYPE) payloads.emplace_back(payload.begin(), payload.end());
    datagram = datagram.subspan(std::min(aligned(header.nlmsg_len), datagram.size()));
  }
  return NetlinkProgress::more;
}

NetlinkSocket::NetlinkSocket(int protocol)
    : _socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol)) {
  if (!_socket.isOpen()) {
    _lastError = errno;
    return;
  }
  ::setsockopt(_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kMaxWait, sizeof kMaxWait);
}

std::optional<std::vector<Data>> NetlinkSocket::ask(NetlinkRequest request) {
  if (!_socket.isOpen()) return std::nullopt;
  _lastError = 0;
  sockaddr_nl kernel = {};
  kernel.nl_family = AF_NETLINK;
  const Data& message = request.message();
  const ssize_t sent = retryOnSignal([&] {
    return ::sendto(_socket.get(), message.data(), message.size(), 0,
                    reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
  });
  if (sent >= 0) return receive(request.wholeTable());
  _lastError = errno;
  return std::nullopt;
}

std::optional<std::vector<Data>> NetlinkSocket::receive(bool wholeTable) {
  std::vector<Data> payloads;
  Data datagram(kDatagramBytes);
  while (true) {
    const ssize_t size =
        retryOnSignal([&] { return ::recv(_socket.get(), datagram.data(), datagram.size(), 0); });
    if (size <= 0) {
      _lastError = size == 0 ? EPROTO : errno;
      return std::nullopt;
    }
    const auto progress = takeNetlinkPayloads(Bytes(datagram).first(static_cast<std::size_t>(size)),
                                              payloads, _lastError);
    if (progress == NetlinkProgress::failed) return std::nullopt;
    if (progress == NetlinkProgress::finished || !wholeTable) return payloads;
  }
}

}  // namespace zor
