// A value that another thread delivers to a waiting command.
#ifndef ZOR_CLI_AWAITED_VALUE_H_
#define ZOR_CLI_AWAITED_VALUE_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "cli/terminal.h"

namespace zor::cli {

// Shared between the command, which waits on one thread, and the handler that delivers.
template <typename Value>
class AwaitedValue {
 public:
  void deliver(Value value) {
    const std::lock_guard<std::mutex> lock(_mutex);
    _value = std::move(value);
    _delivered.notify_all();
  }

  // Waits, and shows `activity` on a terminal meanwhile. nullopt: timeout.
  std::optional<Value> wait(const std::string& activity, std::chrono::duration<double> limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    Progress progress(activity);
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_value && std::chrono::steady_clock::now() < end) {
      _delivered.wait_for(lock, std::chrono::milliseconds(200));
      if (!_value) progress.update();
    }
    return _value;
  }

  // The same without a limit, for what always comes, such as the end of an exchange with a timeout.
  Value wait(const std::string& activity) {
    for (;;) {
      if (auto value = wait(activity, std::chrono::hours(1))) return *std::move(value);
    }
  }

 private:
  std::mutex _mutex;
  std::condition_variable _delivered;
  std::optional<Value> _value;
};

}  // namespace zor::cli

#endif  // ZOR_CLI_AWAITED_VALUE_H_
