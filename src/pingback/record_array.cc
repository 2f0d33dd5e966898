#include "pingback/record_array.h"

#include <ZORFingerPrint/ZORJsonHelper.h>

#include <cstddef>
#include <utility>

#include "support/ascii.h"

namespace zor {
namespace {

constexpr std::size_t kMaxDigits = 18;  // Within 64 bits whatever they are.

// The case in which the writer has them.
bool isLowerCaseHexDigit(char character) {
  return isDigit(character) || (character >= 'a' && character <= 'f');
}

// Whether a JSON text may hold the byte unescaped.
bool isPlain(char character) {
  return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
}

// Reads along a text. Each skip... says whether the text went on as it expects; after a false one
// the place means nothing.
class Reader {
 public:
  explicit Reader(std::string_view text) : _next(text.data()), _end(_next + text.size()) {}

  bool isAtEnd() const { return _next == _end; }

  bool skip(char character) {
    if (_next == _end || *_next != character) return false;
    ++_next;
    return true;
  }

  bool skipArray() {
    if (!skip('[')) return false;
    do {
      if (!skipRecord()) return false;
    } while (skip(','));
    return skip(']');
  }

 private:
  bool skipRecord() {
    if (!skip('{')) return false;
    if (skip('}')) return true;
    do {
      if (!skipText() || !skip(':') || !skipValue()) return false;
    } while (skip(','));
    return skip('}');
  }

  bool skipValue() { return _next != _end && *_next == '"' ? skipText() : skipWholeNumber(); }

  bool skipText() {
    if (!skip('"')) return false;
    for (;;) {
      while (_next != _end && isPlain(*_next)) ++_next;
      if (skip('"')) return true;
      if (!skip('\\') || !skipEscaped()) return false;
    }
  }

  // Of the numeric escapes, only those of control characters: each represents one character.
  bool skipEscaped() {
    constexpr std::string_view kShortEscapes = "\"\\bfnrt";
    constexpr std::string_view kNumberedEscape = "u00";
    if (_next == _end) return false;
    if (kShortEscapes.find(*_next) != std::string_view::npos) return skip(*_next);
    for (const char character : kNumberedEscape) {
      if (!skip(character)) return false;
    }
    if (!skip('0') && !skip('1')) return false;
    return _next != _end && isLowerCaseHexDigit(*_next++);
  }

  bool skipWholeNumber() {
    skip('-');
    const char* const first = _next;
    while (_next != _end && isDigit(*_next)) ++_next;
    const auto digits = static_cast<std::size_t>(_next - first);
    return digits == 1 || (digits > 1 && digits <= kMaxDigits && *first != '0');
  }

  const char* _next;
  const char* const _end;
};

// The records of a file; none of one that is damaged or not ours.
ZORValue recordsIn(const std::optional<std::string>& text) {
  auto parsed = ZORJsonHelper::zorsec_objectFromJSONStringWithStr(text);
  if (!parsed || !parsed->isArray()) return ZORValue::array();
  return std::move(*parsed);
}

std::optional<std::string> arrayText(const ZORValue& records) {
  const auto bytes = ZORJsonHelper::zorsec_JSONDataWithArray(records);
  if (!bytes) return std::nullopt;
  return std::string(bytes->begin(), bytes->end());
}

}  // namespace

bool isCompactRecordArray(std::string_view text) {
  Reader reader(text);
  return reader.skipArray() && reader.isAtEnd();
}

std::optional<std::string> arrayWithRecord(const std::optional<std::string>& text,
                                           const ZORValue& record) {
  if (!text || !isCompactRecordArray(*text)) {
    ZORValue records = recordsIn(text);
    records.append(record);
    return arrayText(records);
  }
  const auto addition = arrayText(ZORValue::array({record}));
  if (!addition) return std::nullopt;
  return text->substr(0, text->size() - 1) + "," + addition->substr(1);
}

}  // namespace zor
