#include <ZORFingerPrint/ZORLog.h>

#include <utility>

#include "platform/log.h"

namespace zor {

void ZORSetLogHandler(ZORLogHandler handler) { setLogHandler(std::move(handler)); }

}  // namespace zor
