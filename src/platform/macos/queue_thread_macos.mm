#include "platform/queue_thread.h"

#include <pthread.h>
#include <pthread/qos.h>

#include <utility>

#include "support/guarded_call.h"

namespace zor {

void prepareQueueThread(const std::string& name, QualityOfService qualityOfService) {
  ::pthread_setname_np(name.c_str());
  if (qualityOfService == QualityOfService::userInitiated) {
    ::pthread_set_qos_class_self_np(QOS_CLASS_USER_INITIATED, 0);
  }
}

void runQueueOperation(std::function<void()> operation) {
  @autoreleasepool {
    const auto taken = std::move(operation);  // Its captures are released within the pool as well.
    callIgnoringExceptions(taken);
  }
}

}  // namespace zor
