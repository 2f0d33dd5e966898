// Finds and opens the private module that loads URLs.
#ifndef ZOR_PLATFORM_LINUX_NET_MODULE_LINUX_H_
#define ZOR_PLATFORM_LINUX_NET_MODULE_LINUX_H_

#include "platform/linux/net/net_module.h"

namespace zor {

// The process's loader. The module is looked for beside the object that this code is in (the
// library or a program), below `../lib` of it, and where the library is installed; it is never
// closed. Null: it cannot be opened; a log line says why, and the next call tries again.
// Callable from any thread with no lock held, also in the child of a fork.
net::Loader* netLoader();

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_NET_MODULE_LINUX_H_
