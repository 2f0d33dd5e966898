#include "platform/linux/filed_values.h"

#include "support/json_codec.h"

namespace zor {
namespace {

constexpr const char* kDateTag = "$date";
constexpr char kTagMark = '$';

ZORValue filed(const ZORValue& value, int depthLeft);

ZORValue filedDictionary(const ZORValue& dictionary, int depthLeft) {
  ZORValue object = ZORValue::dictionary();
  for (const auto& [key, value] : dictionary.entries()) {
    const bool looksLikeTag = !key.empty() && key[0] == kTagMark;
    object.set(looksLikeTag ? kTagMark + key : key, filed(value, depthLeft));
  }
  return object;
}

// A value that no file can hold becomes data, which the JSON writer refuses.
ZORValue filed(const ZORValue& value, int depthLeft) {
  if (depthLeft == 0) return Data();
  if (value.isText() || value.isNumber()) return value;
  if (const auto date = value.date()) {
    return ZORValue::dictionary({{kDateTag, date->secondsSince1970}});
  }
  return value.isDictionary() ? filedDictionary(value, depthLeft - 1) : Data();
}

// Reads a tagged object. The only known form is the date.
std::optional<ZORValue> valueFromTagged(const ZORValue& object) {
  const auto seconds = object[kDateTag].number();
  if (object.size() != 1 || !seconds) return std::nullopt;
  return ZORDate{*seconds};
}

bool isTagged(const ZORValue& object) {
  for (const auto& [key, value] : object.entries()) {
    if (!key.empty() && key[0] == kTagMark && (key.size() < 2 || key[1] != kTagMark)) return true;
  }
  return false;
}

ZORValue dictionaryFromFiled(const ZORValue& object) {
  ZORValue dictionary = ZORValue::dictionary();
  for (const auto& [key, filed] : object.entries()) {
    const auto value = valueFromFiled(filed);
    if (!value) continue;
    const bool wasMarked = !key.empty() && key[0] == kTagMark;
    dictionary.set(wasMarked ? key.substr(1) : key, *value);
  }
  return dictionary;
}

}  // namespace

std::optional<ZORValue> filedValue(const ZORValue& value) {
  // One level is left for the object that contains the value.
  ZORValue result = filed(value, kMaxJsonNesting - 2);
  if (!jsonFromValue(result)) return std::nullopt;
  return result;
}

std::optional<ZORValue> valueFromFiled(const ZORValue& filed) {
  if (filed.isText() || filed.isNumber()) return filed;
  if (!filed.isDictionary()) return std::nullopt;
  return isTagged(filed) ? valueFromTagged(filed) : dictionaryFromFiled(filed);
}

}  // namespace zor
