#include "support/text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

#include "support/ascii.h"

namespace zor {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr int kMaxWholeDigits = 17;

bool isSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

std::string_view withoutLeadingSpace(std::string_view text) {
  const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
  return text.substr(static_cast<std::size_t>(first - text.begin()));
}

std::size_t skipDigits(std::string_view text, std::size_t from) {
  while (from < text.size() && isDigit(text[from])) ++from;
  return from;
}

std::size_t skipSign(std::string_view text, std::size_t from) {
  return from < text.size() && (text[from] == '+' || text[from] == '-') ? from + 1 : from;
}

// Length of the longest prefix of `text` that is a decimal floating-point number.
std::size_t decimalPrefixLength(std::string_view text) {
  const std::size_t wholeStart = skipSign(text, 0);
  std::size_t end = skipDigits(text, wholeStart);
  std::size_t digits = end - wholeStart;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fractionEnd = skipDigits(text, end + 1);
    digits += fractionEnd - (end + 1);
    if (digits > 0) end = fractionEnd;
  }
  if (digits == 0) return 0;
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const std::size_t exponentStart = skipSign(text, end + 1);
    const std::size_t exponentEnd = skipDigits(text, exponentStart);
    if (exponentEnd > exponentStart) end = exponentEnd;
  }
  return end;
}

// Reads a whole decimal text; the stream's own locale keeps the host's out of it.
double readDecimal(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  double number = 0;
  stream >> number;
  // Out of range the stream stores the largest finite value; the heritage platform gives infinity.
  if (stream.fail() && std::abs(number) == std::numeric_limits<double>::max()) {
    return std::copysign(std::numeric_limits<double>::infinity(), number);
  }
  return number;
}

// `precision` counts as std::setprecision does under `format`.
std::string printed(double number, int precision, std::ios_base::fmtflags format) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.setf(format, std::ios_base::floatfield);
  stream.precision(precision);
  stream << number;
  return stream.str();
}

struct Decoded {
  std::uint32_t codePoint = kReplacement;
  std::size_t length = 1;
  bool valid = false;
};

// The code point at the start of `text`, which is not empty.
Decoded decodeFirst(std::string_view text) {
  const auto byteAt = [text](std::size_t index) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[index]));
  };
  const std::uint32_t first = byteAt(0);
  if (first < 0x80) return {first, 1, true};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return {};
  std::uint32_t codePoint = first & (0xFFU >> (length + 1));
  for (std::size_t index = 1; index < length; ++index) {
    if ((byteAt(index) & 0xC0) != 0x80) return {};
    codePoint = codePoint << 6 | (byteAt(index) & 0x3F);
  }
  constexpr std::uint32_t kMinOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < kMinOfLength[length] || codePoint > 0x10FFFF || surrogate) return {};
  return {codePoint, length, true};
}

// Most texts are ASCII throughout; reading eight bytes at a time is several times faster.
std::size_t leadingAsciiLength(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t length = 0;
  for (std::uint64_t bytes = 0; length + sizeof bytes <= text.size(); length += sizeof bytes) {
    std::memcpy(&bytes, text.data() + length, sizeof bytes);
    if ((bytes & kHighBits) != 0) break;
  }
  while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) ++length;
  return length;
}

}  // namespace

std::string formatText(std::string_view format,
                       std::initializer_list<std::optional<std::string>> arguments) {
  std::string result;
  auto next = arguments.begin();
  for (std::size_t from = 0; from < format.size();) {
    const std::string_view piece = format.substr(from, 2);
    if (piece == "%@") {
      result += next != arguments.end() ? (next++)->value_or("(null)") : "(null)";
      from += 2;
    } else {
      result += piece.front();
      from += piece == "%%" ? 2 : 1;
    }
  }
  return result;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + separator.size());
  }
}

std::string shortestDecimal(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  int digits = 1;
  std::string scientific = printed(number, digits - 1, std::ios_base::scientific);
  while (readDecimal(scientific) != number) {
    scientific = printed(number, ++digits - 1, std::ios_base::scientific);
  }
  // Whole seconds are written out; only figures beyond seventeen digits need an exponent.
  const auto exponent = longLongValue(scientific.substr(scientific.find('e') + 1));
  const int wholeDigits = exponent < kMaxWholeDigits ? static_cast<int>(exponent) + 1 : 0;
  return printed(number, std::max(digits, wholeDigits), {});
}

double doubleValue(std::string_view text) {
  const std::string_view number = withoutLeadingSpace(text);
  const std::size_t length = decimalPrefixLength(number);
  return length == 0 ? 0 : readDecimal(std::string(number.substr(0, length)));
}

std::int64_t longLongValue(std::string_view text) {
  const std::string_view number = withoutLeadingSpace(text);
  const std::size_t start = skipSign(number, 0);
  const bool negative = start == 1 && number[0] == '-';
  constexpr std::uint64_t kMaxInteger = std::numeric_limits<std::int64_t>::max();
  const std::uint64_t limit = kMaxInteger + (negative ? 1 : 0);
  std::uint64_t magnitude = 0;
  for (const char digit : number.substr(start, skipDigits(number, start) - start)) {
    const auto value = static_cast<std::uint64_t>(digit - '0');
    if (magnitude > (limit - value) / 10) {
      magnitude = limit;
      break;
    }
    magnitude = magnitude * 10 + value;
  }
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

bool isValidUtf8(std::string_view text) {
  for (;;) {
    text.remove_prefix(leadingAsciiLength(text));
    if (text.empty()) return true;
    const Decoded decoded = decodeFirst(text);
    if (!decoded.valid) return false;
    text.remove_prefix(decoded.length);
  }
}

std::optional<std::string> textFromUtf8(const Data& bytes) {
  std::string text(bytes.begin(), bytes.end());
  if (!isValidUtf8(text)) return std::nullopt;
  return text;
}

std::string wellFormedUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Decoded decoded = decodeFirst(text);
    result += decoded.valid ? text.substr(0, decoded.length) : std::string_view("\xEF\xBF\xBD");
    text.remove_prefix(decoded.length);
  }
  return result;
}

Data utf8Bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::vector<std::uint16_t> utf16Units(std::string_view text) {
  std::vector<std::uint16_t> units;
  while (!text.empty()) {
    const Decoded decoded = decodeFirst(text);
    text.remove_prefix(decoded.length);
    if (decoded.codePoint < 0x10000) {
      units.push_back(static_cast<std::uint16_t>(decoded.codePoint));
      continue;
    }
    const std::uint32_t offset = decoded.codePoint - 0x10000;
    units.push_back(static_cast<std::uint16_t>(0xD800 + (offset >> 10)));
    units.push_back(static_cast<std::uint16_t>(0xDC00 + (offset & 0x3FF)));
  }
  return units;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t length = 0;
  while (!text.empty()) {
    const Decoded decoded = decodeFirst(text);
    text.remove_prefix(decoded.length);
    length += decoded.codePoint >= 0x10000 ? 2 : 1;
  }
  return length;
}

}  // namespace zor
