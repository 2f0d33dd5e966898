#include <pthread.h>

#include "platform/queue_thread.h"

namespace zor {

// Linux has no service classes; only the name is applied, cut to the kernel's 15 bytes.
void prepareQueueThread(const std::string& name, QualityOfService /*qualityOfService*/) {
  ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str());
}

}  // namespace zor
