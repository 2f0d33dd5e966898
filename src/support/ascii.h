// Classes of ASCII characters. The C library's functions follow the host's locale; these do not.
#ifndef ZOR_SUPPORT_ASCII_H_
#define ZOR_SUPPORT_ASCII_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zor {

inline bool isDigit(char character) { return character >= '0' && character <= '9'; }

inline bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

inline char lowered(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

inline bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

// The value of a hexadecimal digit of either case; nullopt for any other character.
inline std::optional<std::uint8_t> hexDigitValue(char character) {
  if (isDigit(character)) return static_cast<std::uint8_t>(character - '0');
  if (character >= 'a' && character <= 'f') return static_cast<std::uint8_t>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') return static_cast<std::uint8_t>(character - 'A' + 10);
  return std::nullopt;
}

inline bool isHexDigit(char character) { return hexDigitValue(character).has_value(); }

// `text` without spaces, tabs and line ends around it.
inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  const auto start = text.find_first_not_of(kWhiteSpace);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kWhiteSpace) - start + 1);
}

}  // namespace zor

#endif  // ZOR_SUPPORT_ASCII_H_
