// Conversions between JSON text, bytes and values, for the library and for host applications.
//
// Compact output, UTF-8 both ways, top-level scalars accepted when reading. Refused either way:
// NaN, infinities, nesting deeper than 512 levels, a null `const char*`. Refused when reading: a
// text of more than a million values. Refused when writing: data and dates. A conversion that fails
// yields nullopt after one fixed line in the log; nothing is thrown. Pure functions, callable from
// any thread.
#ifndef ZORFINGERPRINT_ZORJSONHELPER_H_
#define ZORFINGERPRINT_ZORJSONHELPER_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

// As a text, written as the top-level value. Only arrays and dictionaries may stand there, so this
// is refused for every text; it is offered because the family has it.
ZOR_EXPORT std::optional<Data> zorsec_JSONData(const std::string& text);
// The text of zorsec_JSONData(text), without checking whether there is one: always "".
ZOR_EXPORT std::optional<std::string> zorsec_JSONString(const std::string& text);

// A literal is a text; without these two it could be a ZORValue as well.
ZOR_EXPORT std::optional<Data> zorsec_JSONData(const char* text);
ZOR_EXPORT std::optional<std::string> zorsec_JSONString(const char* text);

// Data is not JSON.
std::optional<Data> zorsec_JSONData(const Data& data) = delete;
std::optional<std::string> zorsec_JSONString(const Data& data) = delete;

// An array or a dictionary as JSON; nullopt for every other kind.
ZOR_EXPORT std::optional<Data> zorsec_JSONData(const ZORValue& collection);
ZOR_EXPORT std::optional<std::string> zorsec_JSONString(const ZORValue& collection);

// The value of a JSON text. The two differ only in their log line: every value may be changed by
// its owner.
ZOR_EXPORT std::optional<ZORValue> zorsec_objectFromJSONString(const std::string& text);
ZOR_EXPORT std::optional<ZORValue> zorsec_objectFromJSONString(const char* text);
ZOR_EXPORT std::optional<ZORValue> zorsec_mutableObjectFromJSONString(const std::string& text);
ZOR_EXPORT std::optional<ZORValue> zorsec_mutableObjectFromJSONString(const char* text);

// As above, from the UTF-8 bytes of a JSON text.
ZOR_EXPORT std::optional<ZORValue> zorsec_objectFromJSONData(const Data& data);
ZOR_EXPORT std::optional<ZORValue> zorsec_mutableObjectFromJSONData(const Data& data);

// The same conversions for values that may be absent. An absent argument yields nullopt without a
// line in the log, but for zorsec_JSONDataWithDic, which treats it as a value that cannot be
// written.
class ZOR_EXPORT ZORJsonHelper {
 public:
  ZORJsonHelper() = delete;

  // Selector: zorsec_JSONStringWithDic:
  static std::optional<std::string> zorsec_JSONStringWithDic(
      const std::optional<ZORValue>& dictionary);
  // Selector: zorsec_JSONDataWithDic:
  static std::optional<Data> zorsec_JSONDataWithDic(const std::optional<ZORValue>& dictionary);
  // Selector: zorsec_objectFromJSONStringWithStr:
  static std::optional<ZORValue> zorsec_objectFromJSONStringWithStr(
      const std::optional<std::string>& text);
  static std::optional<ZORValue> zorsec_objectFromJSONStringWithStr(const char* text);
  // Selector: zorsec_JSONDataWithArray:
  static std::optional<Data> zorsec_JSONDataWithArray(const std::optional<ZORValue>& array);
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORJSONHELPER_H_
