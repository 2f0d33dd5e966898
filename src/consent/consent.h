// Whether the person at the machine allows the library to work.
//
// No lock covers the check for permission and what follows it: a refusal may come in between, from
// another thread or another process. So code that keeps something checks twice, before and after,
// and if it finds a refusal afterwards it removes what it has kept. A refusal is kept before
// anything is erased, so one of the two sides always sees the other.
#ifndef ZOR_CONSENT_CONSENT_H_
#define ZOR_CONSENT_CONSENT_H_

#include <ZORFingerPrint/ZORPrivacy.h>

#include "support/status.h"

namespace zor {

// The answer in the user defaults now. Callable from any thread.
ZORConsent keptConsent();

// Keeps the answer; `unknown` removes it. On failure the answer holds for this process only.
Status keepConsent(ZORConsent consent);

// Whether consent must be given first: required by the host, for this process, or by the operator's
// profile, always.
bool isConsentRequired();
void setConsentRequiredByHost(bool required);

// Whether the library may collect, keep and send. A refusal counts even if consent is not required.
// Callable from any thread; reads the user defaults once.
bool isPermitted();

}  // namespace zor

#endif  // ZOR_CONSENT_CONSENT_H_
