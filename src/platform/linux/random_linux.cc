#include <sys/random.h>

#include <algorithm>
#include <array>
#include <random>

#include "platform/linux/linux_ports.h"
#include "platform/linux/uuid_text.h"
#include "platform/posix/file_io.h"

namespace zor {
namespace {

// For a host whose sandbox forbids the kernel's call: from the processor or the device. Without
// either, no number could be unpredictable and no identifier unique.
void fillWithoutKernel(std::uint8_t* bytes, std::size_t size) noexcept {
  std::random_device source;
  std::generate_n(bytes, size, [&source] { return static_cast<std::uint8_t>(source()); });
}

template <std::size_t Size>
std::array<std::uint8_t, Size> randomBytes() {
  static_assert(Size <= 256, "getrandom may return fewer bytes than requested");
  std::array<std::uint8_t, Size> bytes{};
  const ssize_t got =
      retryOnSignal([&bytes] { return ::getrandom(bytes.data(), bytes.size(), 0); });
  if (got < 0) fillWithoutKernel(bytes.data(), bytes.size());
  return bytes;
}

class LinuxRandom final : public RandomPort {
 public:
  std::uint32_t randomNumber() override {
    std::uint32_t number = 0;
    for (const std::uint8_t byte : randomBytes<4>()) number = number << 8 | byte;
    return number;
  }

  std::string uuidString() override { return uuidText(randomBytes<16>()); }
};

}  // namespace

RandomPort& linuxRandomPort() {
  static constinit MadeOnce<LinuxRandom> port;
  return port.get();
}

}  // namespace zor
