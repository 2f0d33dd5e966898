// How long a thread waits for locks that other processes hold.
#ifndef ZOR_PLATFORM_LOCK_WAIT_H_
#define ZOR_PLATFORM_LOCK_WAIT_H_

#include <chrono>
#include <functional>

namespace zor {

// No call of the host waits longer than this in all, whatever other processes do.
constexpr std::chrono::milliseconds kMaxLockWaitOfCall{200};

// Limits the calling thread's waiting for locks while it lives. Every function that a host calls
// starts with one; a budget within another has no effect, so that all locks of a call share one.
class LockWaitBudget {
 public:
  using Duration = std::chrono::nanoseconds;
  // Lets about that much time pass; returns how much it was.
  using Sleep = std::function<Duration(Duration duration)>;

  explicit LockWaitBudget(Duration limit = kMaxLockWaitOfCall);
  // For tests: with another `sleep`.
  LockWaitBudget(Duration limit, Sleep sleep);
  ~LockWaitBudget();
  LockWaitBudget(const LockWaitBudget&) = delete;
  LockWaitBudget& operator=(const LockWaitBudget&) = delete;

  // Waits a moment and returns true; false, at once, when the budget in force is used up.
  bool waitAMoment();

 private:
  LockWaitBudget* const _outer;  // The budget in force where this one stands within another.
  Duration _left;
  const Sleep _sleep;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LOCK_WAIT_H_
