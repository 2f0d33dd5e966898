#include "support/signals_blocked.h"

namespace zor {

SignalsBlocked::SignalsBlocked() {
  sigset_t all;
  sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &_saved);
}

SignalsBlocked::~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &_saved, nullptr); }

}  // namespace zor
