// JSON text to values and back, with the library's own strictness. The only place that uses a JSON
// library, so that none of its types or exceptions escapes. Callable from any thread.
#ifndef ZOR_SUPPORT_JSON_CODEC_H_
#define ZOR_SUPPORT_JSON_CODEC_H_

#include <ZORFingerPrint/ZORValue.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zor {

// Deepest nesting of arrays and dictionaries that is read or written.
constexpr int kMaxJsonNesting = 512;

// A text with more brackets and commas than this is refused: it may hold as many values. A hostile
// answer of 16 MiB could otherwise take over a gigabyte; this many values take some 200 MB while
// they are read. The services' own answers have a few dozen.
constexpr std::size_t kMaxJsonValues = 1'000'000;

// The value of one JSON text in UTF-8, top-level scalars included. An integer that does not fit 64
// bits is a real number; a repeated key keeps its last value. nullopt: not JSON, ill-formed UTF-8,
// a NUL, a number beyond a double's range, nesting deeper than kMaxJsonNesting, more values
// than kMaxJsonValues, or memory ran out. Nothing is thrown.
std::optional<ZORValue> valueFromJson(std::string_view text);

// `value` as compact JSON in UTF-8. nullopt: ill-formed UTF-8 in a text or key, NaN, an infinity,
// data, a date, nesting deeper than kMaxJsonNesting, or memory ran out. Nothing is thrown.
std::optional<std::string> jsonFromValue(const ZORValue& value);

// `value` changed so that JSON can hold it as an entry of a dictionary: a text that is not valid
// UTF-8, and anything else that JSON cannot express, becomes null, and entries whose key is not
// valid UTF-8 are left out. One odd value of a machine must not cost a whole report.
ZORValue writableAsJson(ZORValue value);

// As jsonFromValue(), for people and logs. Never fails on the content: ill-formed bytes become
// U+FFFD, and whatever JSON cannot express becomes null.
std::string jsonForDisplay(const ZORValue& value);

}  // namespace zor

#endif  // ZOR_SUPPORT_JSON_CODEC_H_
