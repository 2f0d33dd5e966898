#include "platform/linux/bluetooth_management.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <initializer_list>

#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

// From the kernel's interface. Its header is in a package that nothing else here needs.
constexpr int kHciProtocol = 1;
constexpr std::uint16_t kNoController = 0xFFFF;
constexpr std::uint16_t kManagementChannel = 3;
struct HciSocketAddress {
  sa_family_t family;
  std::uint16_t controller;
  std::uint16_t channel;
};
constexpr std::uint16_t kReadInformation = 0x0004;
constexpr std::uint16_t kCommandComplete = 0x0001;
constexpr std::uint16_t kCommandRefused = 0x0002;
constexpr std::size_t kHeaderBytes = 6;   // Event, controller, length.
constexpr std::size_t kAnswerOffset = 9;  // After the command's number and its status.
constexpr std::size_t kAddressBytes = 6;
constexpr std::size_t kNameOffset = kAnswerOffset + 20;
constexpr std::size_t kNameBytes = 249;

// The kernel answers during the call that sends; the limit is for a kernel that does not.
constexpr timeval kMaxWait{0, 50000};
// How many messages to every listener may come before the answer.
constexpr int kMessagesToSkip = 16;

std::uint16_t numberAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

// Whether `message` ends the wait: it answers or refuses our command.
bool endsCommand(std::span<const std::uint8_t> message, std::uint16_t index) {
  if (message.size() < kHeaderBytes + 2) return false;
  const std::uint16_t event = numberAt(message, 0);
  return (event == kCommandComplete || event == kCommandRefused) && numberAt(message, 2) == index &&
         numberAt(message, kHeaderBytes) == kReadInformation;
}

// The address is stored with its last byte first.
std::optional<std::string> addressText(std::span<const std::uint8_t> bytes) {
  if (std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; })) {
    return std::nullopt;
  }
  char text[18];
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", bytes[5], bytes[4], bytes[3],
                bytes[2], bytes[1], bytes[0]);
  return text;
}

std::optional<std::string> nameText(std::span<const std::uint8_t> bytes) {
  const auto name = textFromUtf8(Data(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)));
  return name && !name->empty() ? name : std::nullopt;
}

FileDescriptor openManagementSocket() {
  FileDescriptor socket(::socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC, kHciProtocol));
  const HciSocketAddress address{AF_BLUETOOTH, kNoController, kManagementChannel};
  const bool bound =
      socket.isOpen() &&
      ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (!bound) {
    if (errno == EACCES || errno == EPERM) noteProbeDenied("HCI management socket");
    return FileDescriptor();
  }
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kMaxWait, sizeof kMaxWait);
  return socket;
}

}  // namespace

Data controllerInfoCommand(std::uint16_t index) {
  Data command;
  for (const std::uint16_t number : {kReadInformation, index, std::uint16_t{0}}) {
    command.push_back(static_cast<std::uint8_t>(number & 0xFF));
    command.push_back(static_cast<std::uint8_t>(number >> 8));
  }
  return command;
}

std::optional<ControllerInfo> controllerInfoFromMessage(std::span<const std::uint8_t> message,
                                                        std::uint16_t index) {
  const bool complete = endsCommand(message, index) && numberAt(message, 0) == kCommandComplete &&
                        message.size() >= kNameOffset + kNameBytes &&
                        message[kHeaderBytes + 2] == 0;
  if (!complete) return std::nullopt;
  return ControllerInfo{nameText(message.subspan(kNameOffset, kNameBytes)),
                        addressText(message.subspan(kAnswerOffset, kAddressBytes))};
}

std::optional<ControllerInfo> readControllerInfo(std::uint16_t index) {
  noteProbeSource("HCI management socket");
  const FileDescriptor socket = openManagementSocket();
  if (!socket.isOpen()) return std::nullopt;
  const Data command = controllerInfoCommand(index);
  const ssize_t sent =
      retryOnSignal([&] { return ::send(socket.get(), command.data(), command.size(), 0); });
  if (sent < 0) return std::nullopt;
  for (int tries = 0; tries < kMessagesToSkip; ++tries) {
    std::uint8_t message[512];
    const ssize_t size =
        retryOnSignal([&] { return ::recv(socket.get(), message, sizeof message, 0); });
    if (size <= 0) return std::nullopt;
    const std::span<const std::uint8_t> received(message, static_cast<std::size_t>(size));
    if (endsCommand(received, index)) return controllerInfoFromMessage(received, index);
  }
  return std::nullopt;
}

}  // namespace zor
