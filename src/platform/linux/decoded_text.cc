#include "platform/linux/decoded_text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "support/text.h"

namespace zor {
namespace {

// The code points of the bytes 0x80 to 0x9F; bytes with no character assigned map to themselves.
constexpr std::uint16_t kWindowsLatin1[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void appendUtf8(std::string& text, unsigned codePoint) {
  if (codePoint < 0x80) {
    text += static_cast<char>(codePoint);
    return;
  }
  if (codePoint < 0x800) {
    text += static_cast<char>(0xC0 | codePoint >> 6);
  } else {
    text += static_cast<char>(0xE0 | codePoint >> 12);
    text += static_cast<char>(0x80 | (codePoint >> 6 & 0x3F));
  }
  text += static_cast<char>(0x80 | (codePoint & 0x3F));
}

std::string textFromWindowsLatin1(std::string_view bytes) {
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<std::uint8_t>(character);
    const bool mapped = byte >= 0x80 && byte < 0x80 + std::size(kWindowsLatin1);
    appendUtf8(text, mapped ? kWindowsLatin1[byte - 0x80] : byte);
  }
  return text;
}

}  // namespace

std::string decodedText(std::string_view bytes) {
  return isValidUtf8(bytes) ? std::string(bytes) : textFromWindowsLatin1(bytes);
}

std::string_view withoutCutCharacter(std::string_view bytes) {
  constexpr std::size_t kMaxCutBytes = 3;
  for (std::size_t cut = 1; cut <= std::min(bytes.size(), kMaxCutBytes); ++cut) {
    const auto byte = static_cast<std::uint8_t>(bytes[bytes.size() - cut]);
    const bool isContinuation = (byte & 0xC0) == 0x80;
    if (isContinuation) continue;
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    const std::string_view whole = bytes.substr(0, bytes.size() - cut);
    return length > cut && isValidUtf8(whole) ? whole : bytes;
  }
  return bytes;
}

}  // namespace zor
