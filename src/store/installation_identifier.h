// A random identifier, made once for this user and then kept, that ties reports together.
#ifndef ZOR_STORE_INSTALLATION_IDENTIFIER_H_
#define ZOR_STORE_INSTALLATION_IDENTIFIER_H_

#include <string>

#include "store/dfp_store.h"

namespace zor {

// The identifier, found at the first call and the same for the rest of the process. Callable from
// any thread; nothing is thrown.
std::string installationIdentifier() ZOR_EXCLUDES(initPthreadMutex());

// Looks for the identifier: the user defaults win, the store file comes next. Only when both are
// empty is one made, and written to both. Deliberate: what is found in one is not copied to the
// other.
std::string findInstallationIdentifier() ZOR_EXCLUDES(initPthreadMutex());

}  // namespace zor

#endif  // ZOR_STORE_INSTALLATION_IDENTIFIER_H_
