#include "sandbox/inspector/call_chains.h"

#include <algorithm>

namespace zor::sandbox {
namespace {

// Longer than a client waits for any answer.
constexpr std::int64_t kLongestPauseMs = 120'000;

bool asksForFingerprint(Route route) {
  return route == Route::name || route == Route::address || route == Route::backupAddress;
}

bool belongsToCalls(Route route) { return route != Route::pingback && route != Route::unknown; }

// A request takes the place of the handshake of its connection, if that is the try before it.
bool continuesTry(const ChainTry& last, const ChainEvent& handshake, const ChainEvent& request) {
  return !request.isHandshake && last.id == handshake.id && handshake.isHandshake &&
         handshake.run == request.run && handshake.connection == request.connection;
}

bool startsCall(const CallChain& call, const ChainEvent& event) {
  if (event.timeMs - call.tries.back().endMs > kLongestPauseMs) return true;
  if (event.route != Route::name) return false;
  return call.succeeded || std::any_of(call.tries.begin(), call.tries.end(),
                                       [](const auto& one) { return one.route != Route::name; });
}

void addTry(CallChain& call, const ChainEvent& event) {
  if (!call.tries.empty()) call.tries.back().endMs = event.timeMs;
  call.tries.push_back({event.id, event.route, event.timeMs, event.timeMs, event.succeeded,
                        event.address, event.result});
}

}  // namespace

std::vector<CallChain> callChains(const std::vector<ChainEvent>& events) {
  std::vector<CallChain> calls;
  ChainEvent before;
  for (const ChainEvent& event : events) {
    if (!belongsToCalls(event.route)) continue;
    if (!calls.empty() && continuesTry(calls.back().tries.back(), before, event)) {
      ChainTry& last = calls.back().tries.back();
      const std::int64_t start = last.startMs;
      last = {event.id,        event.route,   start,       event.timeMs,
              event.succeeded, event.address, event.result};
    } else {
      if (calls.empty() || startsCall(calls.back(), event)) calls.emplace_back();
      addTry(calls.back(), event);
    }
    if (!event.isHandshake && event.succeeded && asksForFingerprint(event.route)) {
      calls.back().succeeded = true;
    }
    before = event;
  }
  return calls;
}

}  // namespace zor::sandbox
