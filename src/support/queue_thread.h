// What a platform does for a thread of one of the library's queues.
#ifndef ZOR_SUPPORT_QUEUE_THREAD_H_
#define ZOR_SUPPORT_QUEUE_THREAD_H_

#include <signal.h>

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

// Blocks every signal for the calling thread while it lives, so that a thread started meanwhile
// inherits the blocked set: the host's signal handlers belong on the host's threads.
class SignalsBlocked {
 public:
  SignalsBlocked();
  ~SignalsBlocked();
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t _saved;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_QUEUE_THREAD_H_
