#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// For a host whose sandbox forbids the kernel's call: from the processor or the device. Where there
// is neither, nothing here could be unpredictable, nor an identifier unique.
void fillWithoutKernel(std::uint8_t* bytes, std::size_t size) noexcept {
  std::random_device source;
  std::generate_n(bytes, size, [&source] { return static_cast<std::uint8_t>(source()); });
}

template <std::size_t Size>
std::array<std::uint8_t, Size> randomBytes() {
  static_assert(Size <= 256, "getrandom may return less than was asked for");
  std::array<std::uint8_t, Size> bytes{};
  while (::getrandom(bytes.data(), bytes.size(), 0) < 0) {
    if (errno == EINTR) continue;
    fillWithoutKernel(bytes.data(), bytes.size());
    break;
  }
  return bytes;
}

class LinuxRandom final : public RandomPort {
 public:
  std::uint32_t randomNumber() override {
    std::uint32_t number = 0;
    for (const std::uint8_t byte : randomBytes<4>()) number = number << 8 | byte;
    return number;
  }

  std::string uuidString() override {
    auto bytes = randomBytes<16>();
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // Version 4, random.
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // Variant of RFC 4122.
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
      text += kDigits[bytes[index] >> 4];
      text += kDigits[bytes[index] & 0x0F];
    }
    return text;
  }
};

}  // namespace

RandomPort& linuxRandomPort() {
  static auto& port = *new LinuxRandom;
  return port;
}

}  // namespace zor
