// Probe results as values of the report.
#ifndef ZOR_COLLECTOR_REPORT_VALUES_H_
#define ZOR_COLLECTOR_REPORT_VALUES_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>

namespace zor {

// `value` such that the report can be written: inside it, a text that is no UTF-8 and whatever else
// JSON cannot hold become null, and entries under such a key are left out. One odd value of a
// machine must not cost the whole report.
Json reportable(Json value);

// The value as JSON, or null when there is none; reportable() still has to look at it.
template <typename Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace zor

#endif  // ZOR_COLLECTOR_REPORT_VALUES_H_
