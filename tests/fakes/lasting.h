// For tests of what lives as long as the process.
#ifndef ZOR_TESTS_FAKES_LASTING_H_
#define ZOR_TESTS_FAKES_LASTING_H_

#include <deque>
#include <utility>

namespace zor::testing {

// Keeps `value` until the process ends, where a leak checker still sees it.
template <typename Value>
Value& lasting(Value value) {
  static auto& kept = *new std::deque<Value>;
  return kept.emplace_back(std::move(value));
}

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_LASTING_H_
