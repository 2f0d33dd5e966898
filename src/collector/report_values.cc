#include "collector/report_values.h"

#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

// Whether it can be written one level down, as an entry of the report is.
bool isReportable(const ZORValue& value) {
  return jsonFromValue(ZORValue::array({value})).has_value();
}

ZORValue withReportableElements(const ZORValue& value) {
  if (value.isArray()) {
    ZORValue array = ZORValue::array();
    for (const ZORValue& element : value.elements()) array.append(reportable(element));
    return array;
  }
  ZORValue dictionary = ZORValue::dictionary();
  for (const auto& [key, entry] : value.entries()) {
    if (isValidUtf8(key)) dictionary.set(key, reportable(entry));
  }
  return dictionary;
}

}  // namespace

ZORValue reportable(ZORValue value) {
  if (isReportable(value)) return value;
  if (!value.isArray() && !value.isDictionary()) return nullptr;
  ZORValue cleaned = withReportableElements(value);
  return isReportable(cleaned) ? cleaned : nullptr;
}

}  // namespace zor
