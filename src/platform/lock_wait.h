// How long a thread waits for locks that other processes hold.
#ifndef ZOR_PLATFORM_LOCK_WAIT_H_
#define ZOR_PLATFORM_LOCK_WAIT_H_

#include <chrono>
#include <functional>

namespace zor {

// No call of the host waits longer than this in all, whatever other processes do.
constexpr std::chrono::milliseconds kMaxLockWaitOfCall{200};

// Limits how long the calling thread waits for locks, all together, while this object lives. Every
// function that a host calls starts with one; a budget inside another has no effect, so all locks
// of a call share one.
class LockWaitBudget {
 public:
  using Duration = std::chrono::nanoseconds;
  // Sleeps for about that long and returns how long it was.
  using Sleep = std::function<Duration(Duration duration)>;

  explicit LockWaitBudget(Duration limit = kMaxLockWaitOfCall);
  // For tests: waits by calling `sleep`.
  LockWaitBudget(Duration limit, Sleep sleep);
  ~LockWaitBudget();
  LockWaitBudget(const LockWaitBudget&) = delete;
  LockWaitBudget& operator=(const LockWaitBudget&) = delete;

  // Waits a moment and returns true; returns false at once if the budget in force is used up.
  bool waitAMoment();

 private:
  LockWaitBudget* const _outer;  // The enclosing budget, if there is one.
  Duration _left;
  const Sleep _sleep;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LOCK_WAIT_H_
