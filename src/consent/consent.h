// Whether the person at the machine lets the library work.
//
// There is no lock around "may I?" and what follows it: a refusal may come in between, from another
// thread or another process. So whoever keeps something looks twice: before, and once more when it
// is done; whoever finds a refusal then removes what it has kept. A refusal is kept before anything
// is erased, so one of the two sides always sees the other.
#ifndef ZOR_CONSENT_CONSENT_H_
#define ZOR_CONSENT_CONSENT_H_

#include <ZORFingerPrint/ZORPrivacy.h>

#include "support/status.h"

namespace zor {

// What the user defaults hold now. Callable from any thread.
ZORConsent keptConsent();

// Keeps the answer; `unknown` removes it. Not success: it holds for this process alone.
Status keepConsent(ZORConsent consent);

// Whether consent must be given first: the host says so, for this process, or the operator's
// profile, for good.
bool isConsentRequired();
void setConsentRequiredByHost(bool required);

// Whether the library may collect, keep and send. A refusal counts even where consent is not
// required. Callable from any thread; takes one look at the user defaults.
bool isPermitted();

}  // namespace zor

#endif  // ZOR_CONSENT_CONSENT_H_
