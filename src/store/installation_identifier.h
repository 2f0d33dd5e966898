// A random identifier, made once for this user and then kept, that ties reports together.
#ifndef ZOR_STORE_INSTALLATION_IDENTIFIER_H_
#define ZOR_STORE_INSTALLATION_IDENTIFIER_H_

#include <string>

#include "store/dfp_store.h"

namespace zor {

// The identifier: the user defaults win, the store file comes next. Only if neither holds one is a
// new one made and written to both. Deliberate: what is found in one is not copied to the other.
//
// Found at the first call and the same for the rest of the process. If a place cannot be read now,
// a provisional identifier is returned and not kept, and the next call looks again. Callable from
// any thread; nothing is thrown. A caller does not wait while another one writes the files.
std::string installationIdentifier() ZOR_EXCLUDES(initPthreadMutex());

// Whether the identifier that this process returns is on the disk, as far as is known; else why
// not.
Status installationIdentifierStatus();

// Makes this process forget the identifier, as if it had just started: the next call looks for it
// again.
void forgetInstallationIdentifier();

}  // namespace zor

#endif  // ZOR_STORE_INSTALLATION_IDENTIFIER_H_
