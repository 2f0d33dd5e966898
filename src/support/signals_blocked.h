// Keeps signals away from the library's threads.
#ifndef ZOR_SUPPORT_SIGNALS_BLOCKED_H_
#define ZOR_SUPPORT_SIGNALS_BLOCKED_H_

#include <signal.h>

namespace zor {

// Blocks every signal for the calling thread during its lifetime, so that a thread started
// meanwhile inherits the blocked set: the host's signal handlers belong on the host's threads.
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

#endif  // ZOR_SUPPORT_SIGNALS_BLOCKED_H_
