#include "platform/queue_thread.h"

#include <pthread.h>
#include <pthread/qos.h>

namespace zor {

void prepareQueueThread(const std::string& name, QualityOfService qualityOfService) {
  ::pthread_setname_np(name.c_str());
  if (qualityOfService == QualityOfService::userInitiated) {
    ::pthread_set_qos_class_self_np(QOS_CLASS_USER_INITIATED, 0);
  }
}

}  // namespace zor
