#include "support/fork_hooks.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace zor {
namespace {

// Guards the list, and every fork: held from `prepare` to `parent` or `child`, so that the list
// that was locked is the list that is unlocked. Taken before every lock of the library.
Mutex& registryMutex() {
  static auto& mutex = *new Mutex;
  return mutex;
}

std::vector<ForkHook>& hooks() {
  static auto& list = *new std::vector<ForkHook>;
  return list;
}

void prepareAll() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  registryMutex().lock();
  for (const ForkHook& hook : hooks()) {
    if (hook.prepare != nullptr) hook.prepare(hook.context);
  }
}

void releaseInParent() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  for (auto hook = hooks().rbegin(); hook != hooks().rend(); ++hook) {
    if (hook->parent != nullptr) hook->parent(hook->context);
  }
  registryMutex().unlock();
}

void releaseInChild() ZOR_NO_THREAD_SAFETY_ANALYSIS {
  for (auto hook = hooks().rbegin(); hook != hooks().rend(); ++hook) {
    if (hook->child != nullptr) hook->child(hook->context);
  }
  registryMutex().unlock();
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
  const MutexLock lock(registryMutex());
  const auto place = std::upper_bound(
      hooks().begin(), hooks().end(), hook,
      [](const ForkHook& left, const ForkHook& right) { return left.rank < right.rank; });
  hooks().insert(place, hook);
}

}  // namespace zor
