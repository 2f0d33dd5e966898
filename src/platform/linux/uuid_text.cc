#include "platform/linux/uuid_text.h"

#include <cstddef>

namespace zor {

std::string uuidText(std::array<std::uint8_t, 16> bytes) {
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
    text += kDigits[bytes[index] >> 4];
    text += kDigits[bytes[index] & 0x0F];
  }
  return text;
}

}  // namespace zor
