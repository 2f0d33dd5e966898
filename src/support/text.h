// Text the way the heritage platform treats it: formats, numbers as text, UTF-8 and UTF-16 lengths.
// Pure functions, callable from any thread; none depends on the host's locale.
#ifndef ZOR_SUPPORT_TEXT_H_
#define ZOR_SUPPORT_TEXT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

// `format` with each "%@" replaced by the next argument, an absent one by "(null)", and each "%%"
// replaced by "%". Neither is looked for in the arguments. Missing arguments read as "(null)",
// surplus ones are dropped, and a "%" before anything else is kept.
std::string formatText(std::string_view format,
                       std::initializer_list<std::optional<std::string>> arguments);

// The pieces of `text` between the separators, empty ones included; `separator` is not empty.
std::vector<std::string> split(std::string_view text, std::string_view separator);

// The shortest decimal digits that read back to the same double: "86400", "0", "1700000000.25",
// "1e+21". Infinities give "inf" and "-inf", not-a-number gives "nan".
std::string shortestDecimal(double number);

// The number at the start of `text`, after white space: the longest valid decimal prefix; 0 when
// there is none. Neither hexadecimal nor "inf" is valid. Beyond the range: plus or minus infinity.
double doubleValue(std::string_view text);

// As doubleValue, for whole numbers: an optional sign and digits; a decimal point ends the number.
// Beyond the range: the nearest limit.
std::int64_t longLongValue(std::string_view text);

// Whether `text` is well-formed UTF-8 (no surrogates, no overlong forms). NUL bytes are text.
bool isValidUtf8(std::string_view text);

// `bytes` as text; nullopt when they are not well-formed UTF-8.
std::optional<std::string> textFromUtf8(const Data& bytes);

// `text` with every byte that is no part of well-formed UTF-8 replaced by U+FFFD.
std::string wellFormedUtf8(std::string_view text);

// The UTF-8 bytes of `text`.
Data utf8Bytes(std::string_view text);

// `bytes` read as text, as they are; borrowed.
inline std::string_view textOf(const Data& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The UTF-16 code units of `text`, which is well-formed UTF-8 (an ill-formed byte counts as one
// unit, U+FFFD).
std::vector<std::uint16_t> utf16Units(std::string_view text);

// utf16Units(text).size() without making them.
std::size_t utf16Length(std::string_view text);

}  // namespace zor

#endif  // ZOR_SUPPORT_TEXT_H_
