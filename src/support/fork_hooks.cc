#include "support/fork_hooks.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace zor {
namespace {

// One fork at a time: held from `prepare` to `parent` or `child`. Taken before every lock of the
// library, and by forks only.
Mutex& forkMutex() {
  static auto& mutex = *new Mutex;
  return mutex;
}

// Guards the list. Taken after every lock of the library, so that a lock made under another one can
// be registered at once; held over the fork.
Mutex& listMutex() {
  static auto& mutex = *new Mutex;
  return mutex;
}

std::vector<ForkHook>& hooks() {
  static auto& list = *new std::vector<ForkHook>;
  return list;
}

// The participants of the fork under way; belongs to who holds forkMutex().
std::vector<ForkHook>& participants() {
  static auto& list = *new std::vector<ForkHook>;
  return list;
}

void releaseInReverse(void (*ForkHook::*release)(void*)) {
  for (auto hook = participants().rbegin(); hook != participants().rend(); ++hook) {
    if ((*hook).*release != nullptr) ((*hook).*release)(hook->context);
  }
}

void prepareAll() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  forkMutex().lock();
  while (true) {
    listMutex().lock();
    participants() = hooks();
    listMutex().unlock();
    for (const ForkHook& hook : participants()) {
      if (hook.prepare != nullptr) hook.prepare(hook.context);
    }
    listMutex().lock();
    if (participants().size() == hooks().size()) return;
    // Somebody joined in the meantime, perhaps under a lock that was waited for: once more.
    listMutex().unlock();
    releaseInReverse(&ForkHook::parent);
  }
}

void releaseInParent() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  listMutex().unlock();
  releaseInReverse(&ForkHook::parent);
  forkMutex().unlock();
}

void releaseInChild() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  listMutex().unlock();
  releaseInReverse(&ForkHook::child);
  forkMutex().unlock();
}

// The holder changes between the calls: the analysis cannot follow.
void lockMutex(void* mutex) ZOR_NO_THREAD_SAFETY_ANALYSIS { static_cast<Mutex*>(mutex)->lock(); }

void unlockMutex(void* mutex) ZOR_NO_THREAD_SAFETY_ANALYSIS {
  static_cast<Mutex*>(mutex)->unlock();
}

}  // namespace

void holdOverFork(ForkRank rank, Mutex& mutex) {
  registerForkHook({rank, &mutex, lockMutex, unlockMutex, unlockMutex});
}

void registerForkHook(const ForkHook& hook) {
  static const int installed = ::pthread_atfork(prepareAll, releaseInParent, releaseInChild);
  static_cast<void>(installed);  // Fails only without memory; then forks are as unsafe as before.
  const MutexLock lock(listMutex());
  const auto place = std::upper_bound(
      hooks().begin(), hooks().end(), hook,
      [](const ForkHook& left, const ForkHook& right) { return left.rank < right.rank; });
  hooks().insert(place, hook);
}

}  // namespace zor
