// Gathers what the library reports about the machine and the host application.
#ifndef ZOR_COLLECTOR_ZORDATACOLLECTOR_MAC_H_
#define ZOR_COLLECTOR_ZORDATACOLLECTOR_MAC_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <string>
#include <vector>

#include "collector/entry_accounts.h"
#include "collector/report_entries.h"

namespace zor {

// One entry of the collected-parameters dictionary.
struct ReportEntry {
  std::string key;
  // Asks the machine; null if it has no answer. Call it through reportValue().
  ZORValue (*probe)();
  Entry entry;
};

// All 23, in the order in which the probes run and the entries are written.
std::vector<ReportEntry> reportEntries();

// The value of an entry as it goes into the report. Null if the probe fails in any way, and if the
// entry is withheld: its probe then does not run.
ZORValue reportValue(const ReportEntry& entry);

// Empty by design; load() refers to it so that it is part of every image of the library.
class N0000000001 {};

// One collection: made, asked once, discarded. The name is given and the same on every platform.
// Threads: confined to one at a time; the class methods are callable from any.
class ZORDataCollector_mac {
 public:
  // Selector: load
  // Enables the integrity signal. Runs when the library is loaded.
  static void load();

  // The platform label and the version of the report.
  static std::string PLATFORM();
  static std::string VERSION();

  // Selector: collect
  // The collected-parameters dictionary: always all 23 entries, null where the machine has no
  // answer. Takes milliseconds; nothing is thrown. A second call overwrites the same entries.
  ZORValue collect();

  // As collect(). Fills `accounts` with one account for each entry, in order, followed by those of
  // the entries inside the sealed block. The dictionary contains none of them.
  ZORValue collectWithAccounts(std::vector<EntryAccount>& accounts);

 private:
  void _collect();

  ZORValue _params = ZORValue::dictionary();
};

}  // namespace zor

#endif  // ZOR_COLLECTOR_ZORDATACOLLECTOR_MAC_H_
