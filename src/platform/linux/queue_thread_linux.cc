#include <pthread.h>

#include "platform/queue_thread.h"
#include "support/guarded_call.h"

namespace zor {

// Linux has no service classes; only the name is applied, cut to the kernel's 15 bytes.
void prepareQueueThread(const std::string& name, QualityOfService /*qualityOfService*/) {
  ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str());
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): its captures are released here.
void runQueueOperation(std::function<void()> operation) { callIgnoringExceptions(operation); }

}  // namespace zor
