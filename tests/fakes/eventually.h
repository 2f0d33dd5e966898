// Waits in tests for what another thread or process does.
#ifndef ZOR_TESTS_FAKES_EVENTUALLY_H_
#define ZOR_TESTS_FAKES_EVENTUALLY_H_

#include <chrono>
#include <thread>

namespace zor::testing {

// Yields until `condition` is true, for at most 20 seconds. Returns whether it became true.
template <typename Condition>
bool eventually(const Condition& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_EVENTUALLY_H_
