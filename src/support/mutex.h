// The standard mutex types with clang's thread-safety annotations and a checked order.
#ifndef ZOR_SUPPORT_MUTEX_H_
#define ZOR_SUPPORT_MUTEX_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "support/thread_annotations.h"

namespace zor {

// The lock order: a thread takes a lock only if its rank comes after those of all locks that the
// thread holds. docs/architecture.md has the same list.
enum class LockRank : std::uint8_t {
  facade,                  // ZORFingerPrint's `mutext`.
  resolver,                // ZORHTTPDNSManager's `mutext`.
  sharedIdentifierSearch,  // The search for the shared identifier.
  sharedIdentifier,        // The shared identifier that was found.
  installationIdentifier,  // The installation identifier that was found.
  storeFile,               // The store file's `mutex`.
  userDefaults,            // The user defaults in memory.
  timedRead,               // The runs of a read that a device can hold up.
  readRun,                 // What one of these runs has found so far.
  networkModule,           // The opening of the network module.
  loader,                  // The requests that wait for the loader's thread.
  connections,             // The sockets of the loader's connections.
  libraries,               // Which thread may be inside libcurl and OpenSSL.
  queue,                   // The operations of a queue.
  value,                   // A shared constant: the log handler, an accepted host, a backup list.
  last,                    // Locks of one function, and of programs and tests.
};

// Record that the calling thread is about to take or to release a lock. Only debug builds call
// them. enterLockRank() ends the process with a line on standard error if the lock breaks the
// order.
void enterLockRank(LockRank rank) noexcept;
void leaveLockRank(LockRank rank) noexcept;

// A plain, non-recursive mutex. Each one says at its declaration what it guards. Take it with
// MutexLock only.
class ZOR_CAPABILITY("mutex") Mutex {
 public:
  explicit Mutex(LockRank rank = LockRank::last) : _rank(rank) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ZOR_ACQUIRE() {
#ifndef NDEBUG
    enterLockRank(_rank);
#endif
    _mutex.lock();
  }
  void unlock() ZOR_RELEASE() {
#ifndef NDEBUG
    leaveLockRank(_rank);  // First: the next thread to take the mutex may destroy it.
#endif
    _mutex.unlock();
  }

 private:
  friend class ConditionVariable;
  std::mutex _mutex;
  [[maybe_unused]] const LockRank _rank;
};

// Holds a mutex for a scope.
class ZOR_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZOR_ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
  ~MutexLock() ZOR_RELEASE() { _mutex.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& _mutex;
};

// A condition variable for Mutex. Waits are written as loops over the condition.
class ConditionVariable {
 public:
  // Releases `mutex`, waits for a notification (or a spurious wake-up) and takes it again.
  void wait(Mutex& mutex) ZOR_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex._mutex, std::adopt_lock);
    _condition.wait(lock);
    lock.release();
  }
  // The same, but waits until `end` at the latest.
  void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) ZOR_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex._mutex, std::adopt_lock);
    _condition.wait_until(lock, end);
    lock.release();
  }
  void notifyOne() { _condition.notify_one(); }
  void notifyAll() { _condition.notify_all(); }

 private:
  std::condition_variable _condition;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_MUTEX_H_
