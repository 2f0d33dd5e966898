// Conversions between JSON text, bytes and values, for the library and for host applications.
//
// Compact output, UTF-8 both ways, top-level scalars accepted when reading; no NaN or infinity and
// no nesting deeper than 512 levels either way. A conversion that fails yields nullopt after one
// fixed line in the log; nothing is thrown. Pure functions, callable from any thread.
#ifndef ZORFINGERPRINT_ZORJSONHELPER_H_
#define ZORFINGERPRINT_ZORJSONHELPER_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

// As a text, written as the top-level value. Only arrays and dictionaries may stand there, so this
// is refused for every text; it is offered because the family has it.
ZOR_EXPORT std::optional<Data> zorsec_JSONData(const std::string& text);
// The text of zorsec_JSONData(text) without a look at whether there is one: always "".
ZOR_EXPORT std::optional<std::string> zorsec_JSONString(const std::string& text);

// A literal is a text; without these two it could be a Json as well.
inline std::optional<Data> zorsec_JSONData(const char* text) {
  return zorsec_JSONData(std::string(text));
}
inline std::optional<std::string> zorsec_JSONString(const char* text) {
  return zorsec_JSONString(std::string(text));
}

// Bytes are no JSON value: they would be written as a list of numbers.
std::optional<Data> zorsec_JSONData(const Data& data) = delete;
std::optional<std::string> zorsec_JSONString(const Data& data) = delete;

// An array or a dictionary as JSON; nullopt for every other kind.
ZOR_EXPORT std::optional<Data> zorsec_JSONData(const Json& collection);
ZOR_EXPORT std::optional<std::string> zorsec_JSONString(const Json& collection);

// The value that a JSON text stands for. The two differ in their log line only: every Json value
// may be changed by who holds it.
ZOR_EXPORT std::optional<Json> zorsec_objectFromJSONString(const std::string& text);
ZOR_EXPORT std::optional<Json> zorsec_mutableObjectFromJSONString(const std::string& text);

// As above, from the UTF-8 bytes of a JSON text.
ZOR_EXPORT std::optional<Json> zorsec_objectFromJSONData(const Data& data);
ZOR_EXPORT std::optional<Json> zorsec_mutableObjectFromJSONData(const Data& data);

// The same conversions for values that may be absent. An absent argument yields nullopt without a
// line in the log, but for zorsec_JSONDataWithDic, which treats it as a value that cannot be
// written.
class ZOR_EXPORT ZORJsonHelper {
 public:
  ZORJsonHelper() = delete;

  // Selector: zorsec_JSONStringWithDic:
  static std::optional<std::string> zorsec_JSONStringWithDic(const std::optional<Json>& dictionary);
  // Selector: zorsec_JSONDataWithDic:
  static std::optional<Data> zorsec_JSONDataWithDic(const std::optional<Json>& dictionary);
  // Selector: zorsec_objectFromJSONStringWithStr:
  static std::optional<Json> zorsec_objectFromJSONStringWithStr(
      const std::optional<std::string>& text);
  // Selector: zorsec_JSONDataWithArray:
  static std::optional<Data> zorsec_JSONDataWithArray(const std::optional<Json>& array);
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORJSONHELPER_H_
