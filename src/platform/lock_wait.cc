#include "platform/lock_wait.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace zor {
namespace {

// The interval between two attempts. It is constant, so that a thread that has waited long has the
// same chance as one that has just started.
constexpr std::chrono::milliseconds kMoment{1};

thread_local LockWaitBudget* budgetInForce = nullptr;

LockWaitBudget::Duration sleepInEarnest(LockWaitBudget::Duration duration) {
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(duration);
  return std::chrono::steady_clock::now() - start;
}

}  // namespace

LockWaitBudget::LockWaitBudget(Duration limit) : LockWaitBudget(limit, sleepInEarnest) {}

LockWaitBudget::LockWaitBudget(Duration limit, Sleep sleep)
    : _outer(budgetInForce), _left(limit), _sleep(std::move(sleep)) {
  if (_outer == nullptr) budgetInForce = this;
}

LockWaitBudget::~LockWaitBudget() {
  if (_outer == nullptr) budgetInForce = nullptr;
}

bool LockWaitBudget::waitAMoment() {
  if (_outer != nullptr) return _outer->waitAMoment();
  if (_left <= Duration::zero()) return false;
  _left -= _sleep(std::min<Duration>(_left, kMoment));
  return true;
}

}  // namespace zor
