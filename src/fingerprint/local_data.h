// What the library keeps for this application, as one list that can be erased.
#ifndef ZOR_FINGERPRINT_LOCAL_DATA_H_
#define ZOR_FINGERPRINT_LOCAL_DATA_H_

#include <ZORFingerPrint/ZORPrivacy.h>
#include <ZORFingerPrint/ZORValue.h>

#include <vector>

namespace zor {

enum class Erasure {
  everything,
  allButConsent,  // After a refusal, which has to be remembered.
  dryRun,         // Nothing is removed; the answer says what would be.
};

// Removes what is kept, in an order that keeps a removed item from being restored from what is
// left; consent goes last. If a call is cut short, for instance by a kill, the next one finishes
// it. Waits for failure records that are on their way to their file; starts no thread. Throws
// std::bad_alloc.
std::vector<ZORErasedItem> eraseKeptData(Erasure erasure);

// A list of {"item", "outcome", "reason", "note"}, as the C interface and zorfp give it.
ZORValue erasureAsValue(const std::vector<ZORErasedItem>& items);

}  // namespace zor

#endif  // ZOR_FINGERPRINT_LOCAL_DATA_H_
