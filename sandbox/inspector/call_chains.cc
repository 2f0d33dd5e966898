#include "sandbox/inspector/call_chains.h"

#include <algorithm>
#include <utility>

namespace zor::sandbox {
namespace {

// Longer than a client waits for any answer.
constexpr std::int64_t kMaxPauseMs = 120'000;

bool asksForFingerprint(Route route) {
  return route == Route::name || route == Route::address || route == Route::backupAddress;
}

bool belongsToCalls(Route route) { return route != Route::pingback && route != Route::unknown; }

// The backup list is fetched alongside the other tries, at any time: it does not end any of them.
bool isBeside(const ChainEvent& event) { return event.route == Route::backupService; }

// The try that `request` continues: the one that its connection was opened for. Null: it is not the
// connection's first request in this call, or the handshake belongs to another call.
ChainTry* openedFor(CallChain& call, const ChainEvent& request) {
  if (request.isHandshake) return nullptr;
  const auto found = std::find_if(call.tries.rbegin(), call.tries.rend(), [&](const auto& one) {
    return one.isHandshake && one.run == request.run && one.connection == request.connection;
  });
  return found != call.tries.rend() ? &*found : nullptr;
}

bool startsCall(const CallChain& call, const ChainEvent& event) {
  if (event.timeMs - call.tries.back().endMs > kMaxPauseMs) return true;
  if (event.route != Route::name) return false;
  return call.succeeded || std::any_of(call.tries.begin(), call.tries.end(), [](const auto& one) {
           return one.route != Route::name && !isBeside(one);
         });
}

void addTry(CallChain& call, const ChainEvent& event) {
  const auto last = std::find_if_not(call.tries.rbegin(), call.tries.rend(), isBeside);
  if (last != call.tries.rend() && !isBeside(event)) last->endMs = event.timeMs;
  ChainTry added;
  static_cast<ChainEvent&>(added) = event;
  added.endMs = event.timeMs;
  call.tries.push_back(std::move(added));
}

}  // namespace

std::vector<CallChain> callChains(const std::vector<ChainEvent>& events) {
  std::vector<CallChain> calls;
  for (const ChainEvent& event : events) {
    if (!belongsToCalls(event.route)) continue;
    if (ChainTry* const opened = calls.empty() ? nullptr : openedFor(calls.back(), event)) {
      const std::int64_t start = opened->timeMs;
      static_cast<ChainEvent&>(*opened) = event;
      opened->timeMs = start;
      opened->endMs = std::max(opened->endMs, event.timeMs);
    } else {
      if (calls.empty() || startsCall(calls.back(), event)) calls.emplace_back();
      addTry(calls.back(), event);
    }
    if (!event.isHandshake && event.succeeded && asksForFingerprint(event.route)) {
      calls.back().succeeded = true;
    }
  }
  return calls;
}

}  // namespace zor::sandbox
