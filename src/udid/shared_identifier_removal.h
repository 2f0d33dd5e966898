// Takes this application out of the shared machine identifier: its slots, then its own copy.
#ifndef ZOR_UDID_SHARED_IDENTIFIER_REMOVAL_H_
#define ZOR_UDID_SHARED_IDENTIFIER_REMOVAL_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>

#include "support/status.h"

namespace zor {

// This application's copy in its defaults.
std::optional<ZORValue> sharedIdentifierCopy();

// Whether a slot holds what this application has put there. A slot that cannot be read counts when
// the copy names it. Without the copy this cannot be known.
bool hasOwnSharedSlot();

// Clears those slots; the slots of other applications stay.
Status clearOwnSharedSlots();

// Removes the copy, and what this process remembers. Refused while a slot is still there: without
// the copy, a later call would not know it.
Status removeSharedIdentifierCopy();

}  // namespace zor

#endif  // ZOR_UDID_SHARED_IDENTIFIER_REMOVAL_H_
