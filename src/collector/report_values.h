// Probe results as values of the report.
#ifndef ZOR_COLLECTOR_REPORT_VALUES_H_
#define ZOR_COLLECTOR_REPORT_VALUES_H_

#include <ZORFingerPrint/ZORValue.h>

namespace zor {

// `value` such that the report can be written: inside it, a text that is no UTF-8 and whatever else
// JSON cannot hold become null, and entries under such a key are left out. One odd value of a
// machine must not cost the whole report.
ZORValue reportable(ZORValue value);

}  // namespace zor

#endif  // ZOR_COLLECTOR_REPORT_VALUES_H_
