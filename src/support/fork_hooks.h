// Keeps the library usable in the child of a fork.
//
// A fork copies the memory of every thread and only one of the threads. Whoever owns a lock or
// state that only another thread can bring forward (a request in flight, a worker) registers here:
// the locks are taken before the fork in their lock order, so that nothing is half-changed in the
// copy, and released on both sides; the child also drops what the lost threads would have finished.
#ifndef ZOR_SUPPORT_FORK_HOOKS_H_
#define ZOR_SUPPORT_FORK_HOOKS_H_

#include "support/mutex.h"

namespace zor {

// The lock order of the process-wide locks: a lock of a lower rank is taken first.
enum class ForkRank : int {
  loader = 5,  // Held while the transport asks its owners, who take any of the others.
  facade = 10,
  resolver = 20,
  transport = 30,
  pingback = 40,
  sharedIdentifier = 50,
  storeFile = 60,
  portState = 70,
  queue = 80,
  literals = 90,
};

// One participant. `context` is passed to every function; functions that are null are skipped.
struct ForkHook {
  ForkRank rank = ForkRank::portState;
  void* context = nullptr;
  // Before the fork, in the parent: take the lock. Called in rank order; may be undone by `parent`
  // and called again before the fork.
  void (*prepare)(void* context) = nullptr;
  // After the fork, in the parent: release the lock. Called in reverse rank order.
  void (*parent)(void* context) = nullptr;
  // After the fork, in the child, which has one thread: drop what other threads owned, then release
  // the lock. Called in reverse rank order. Must not allocate from anything that may be locked.
  void (*child)(void* context) = nullptr;
};

// Adds a participant for the rest of the process. Callable from any thread, also under other locks
// (a lock that is made at its first use), but not from a hook.
// Ranks may repeat; within one rank the order is that of registration.
void registerForkHook(const ForkHook& hook);

// Registers a mutex that needs no more than to be held over the fork. `mutex` is never destroyed.
void holdOverFork(ForkRank rank, Mutex& mutex);

}  // namespace zor

#endif  // ZOR_SUPPORT_FORK_HOOKS_H_
