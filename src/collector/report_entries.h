// The entries of the collected-parameters dictionary, one row each.
#ifndef ZOR_COLLECTOR_REPORT_ENTRIES_H_
#define ZOR_COLLECTOR_REPORT_ENTRIES_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <string>
#include <vector>

namespace zor {

struct ReportEntry {
  std::string key;
  // Asks the machine; null when it has no answer. Call it through reportValue().
  ZORValue (*probe)();
};

// All 23, in the order in which the probes run and the entries are written.
std::vector<ReportEntry> reportEntries();

// The value of an entry as it goes into the report; a probe that fails in any way gives null.
ZORValue reportValue(const ReportEntry& entry);

}  // namespace zor

#endif  // ZOR_COLLECTOR_REPORT_ENTRIES_H_
