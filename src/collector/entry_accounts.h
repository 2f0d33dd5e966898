// Where the entries of a report come from: for people, never sent.
#ifndef ZOR_COLLECTOR_ENTRY_ACCOUNTS_H_
#define ZOR_COLLECTOR_ENTRY_ACCOUNTS_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "collector/report_entries.h"

namespace zor {

enum class EntryOutcome {
  found,
  absent,        // It does not exist; no other user would get it either.
  notPermitted,  // It exists, but this user may not read it.
  noAnswer,      // A device, or the system, did not answer in time.
  unavailable,   // This version of the system tells it to nobody.
  withheld,      // By the host; the probe did not run.
};

struct EntryAccount {
  Entry entry;
  ZORValue value;       // As it stands in the report, or in the sealed block before it is sealed.
  std::string sources;  // Files, sockets and calls, separated by ", "; empty: the library itself.
  EntryOutcome outcome = EntryOutcome::absent;
  std::int64_t microseconds = 0;
};

// Runs `probe`, unless the entry is withheld, appends an account of the run to `accounts` and
// returns the value. A null or empty value counts as absent.
ZORValue accountedValue(Entry entry, const std::function<ZORValue()>& probe,
                        std::vector<EntryAccount>& accounts);

// One account for each of the seven entries of the sealed block, which are read again for it.
// Entries that are read together (the hardware addresses) each show the time of that reading.
std::vector<EntryAccount> sealedBlockAccounts();

}  // namespace zor

#endif  // ZOR_COLLECTOR_ENTRY_ACCOUNTS_H_
