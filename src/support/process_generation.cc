#include "support/process_generation.h"

#include <pthread.h>

namespace zor {
namespace {

std::atomic<ProcessGeneration> generation{2};

// Runs when the library is loaded. Fails only if memory runs out; then the child of a fork keeps
// using the parent's state.
__attribute__((constructor)) void countForks() {
  static_cast<void>(::pthread_atfork(nullptr, nullptr,
                                     [] { generation.fetch_add(1, std::memory_order_relaxed); }));
}

}  // namespace

ProcessGeneration processGeneration() noexcept {
  return generation.load(std::memory_order_relaxed);
}

}  // namespace zor
