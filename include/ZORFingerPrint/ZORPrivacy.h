// What the person at the machine decides: consent, and erasing what is kept.
#ifndef ZORFINGERPRINT_ZORPRIVACY_H_
#define ZORFINGERPRINT_ZORPRIVACY_H_

#include <string>

namespace zor {

// What the person answered when the host asked. Kept in the user defaults of the application.
enum class ZORConsent {
  unknown = 0,  // Not asked, or not answered.
  given = 1,
  refused = 2,
};

// The result for one of the things that the library keeps.
enum class ZORErasureOutcome {
  nothingThere,
  wouldBeRemoved,  // It exists; a dry run does not remove it.
  removed,
  notRemoved,  // ZORErasedItem::reason says why.
};

struct ZORErasedItem {
  // "cached-fingerprint", "store-file", "installation-identifier", "shared-identifier-slot",
  // "shared-identifier-copy", "failure-records", "last-request", "backup-list" or "consent".
  std::string name;
  ZORErasureOutcome outcome = ZORErasureOutcome::nothingThere;
  // For people: why it was not removed. Empty for the other outcomes.
  std::string reason;
  // For people: what goes with it beyond this application, and what of it stays. May be empty.
  std::string note;
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORPRIVACY_H_
