// The standard mutex types with clang's thread-safety annotations on them.
#ifndef ZOR_SUPPORT_MUTEX_H_
#define ZOR_SUPPORT_MUTEX_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "support/thread_annotations.h"

namespace zor {

// A plain, non-recursive mutex. Each one says at its declaration what it guards and its place in
// the lock order. Take it with MutexLock only; lock() and unlock() are for the fork hooks.
class ZOR_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ZOR_ACQUIRE() { _mutex.lock(); }
  void unlock() ZOR_RELEASE() { _mutex.unlock(); }
  bool tryLock() ZOR_TRY_ACQUIRE(true) { return _mutex.try_lock(); }

 private:
  friend class ConditionVariable;
  std::mutex _mutex;
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
  // The same, at the latest until `end`.
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
