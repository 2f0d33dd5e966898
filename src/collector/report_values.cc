#include "collector/report_values.h"

#include <utility>

#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

// Whether it can be written one level down, as an entry of the report is.
bool isReportable(const Json& value) {
  Json report = Json::array();
  report.push_back(value);
  return serializeJson(report).has_value();
}

void cleanElements(Json& collection) {
  if (collection.is_object()) {
    for (auto entry = collection.begin(); entry != collection.end();) {
      entry = isValidUtf8(entry.key()) ? std::next(entry) : collection.erase(entry);
    }
  }
  for (Json& element : collection) element = reportable(std::move(element));
}

}  // namespace

Json reportable(Json value) {
  if (isReportable(value)) return value;
  if (!value.is_structured()) return nullptr;
  cleanElements(value);
  return isReportable(value) ? value : Json();
}

}  // namespace zor
