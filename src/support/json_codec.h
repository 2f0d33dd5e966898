// JSON text to values and back, with the library's own strictness. The one place that calls the
// JSON library's parser and writer, so that none of its exceptions escapes.
#ifndef ZOR_SUPPORT_JSON_CODEC_H_
#define ZOR_SUPPORT_JSON_CODEC_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// Deepest nesting of arrays and dictionaries that is read or written.
constexpr int kDeepestJsonNesting = 512;

// Parses one JSON text in UTF-8, top-level scalars included. nullopt: not JSON, ill-formed UTF-8, a
// number beyond a double's range, or nesting deeper than kDeepestJsonNesting. A repeated key keeps
// its last value. Callable from any thread; nothing is thrown.
std::optional<Json> parseJson(std::string_view text);

// Writes `value` compactly in UTF-8. nullopt: ill-formed UTF-8 in a text, NaN or an infinity,
// binary, or nesting deeper than kDeepestJsonNesting.
std::optional<std::string> serializeJson(const Json& value);

}  // namespace zor

#endif  // ZOR_SUPPORT_JSON_CODEC_H_
