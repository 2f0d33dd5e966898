// What a platform does for a thread of one of the library's queues.
#ifndef ZOR_PLATFORM_QUEUE_THREAD_H_
#define ZOR_PLATFORM_QUEUE_THREAD_H_

#include <functional>
#include <string>

namespace zor {

// How urgent a queue's work is; the values are those of the heritage platform's service classes.
enum class QualityOfService : int {
  standard = 0,
  userInitiated = 25,
};

// Names the calling thread and applies `qualityOfService` where the platform has such a class.
// Failures are ignored: both are hints. Defined by the platform's backend.
void prepareQueueThread(const std::string& name, QualityOfService qualityOfService);

// Runs `operation`, dropping what it throws, and releases what it captured. On macOS it runs in its
// own autorelease pool: whatever a host's callback autoreleases is freed when the callback ends.
// Defined by the platform's backend.
void runQueueOperation(std::function<void()> operation);

}  // namespace zor

#endif  // ZOR_PLATFORM_QUEUE_THREAD_H_
