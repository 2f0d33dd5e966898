// Groups the exchanges that belong to one call of a client: by name, by HTTPDNS, by address and by
// backup address, until one of them answers.
#ifndef ZOR_SANDBOX_INSPECTOR_CALL_CHAINS_H_
#define ZOR_SANDBOX_INSPECTOR_CALL_CHAINS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// A request, or the end of a handshake.
struct ChainEvent {
  std::int64_t id = 0;
  std::int64_t run = 0;  // Which run of the program; connections are counted anew in each.
  std::int64_t connection = 0;
  std::int64_t timeMs = 0;  // Since 1970.
  Route route = Route::unknown;
  bool isHandshake = false;
  bool succeeded = false;  // A handshake: accepted. A request: answered as the client expects.
  std::string address = {};
  std::string result = {};  // In words.
};

// Its request, or its handshake if no request came; the time is that of whichever came first.
struct ChainTry : ChainEvent {
  // When the client moved on: the next try's start. For the last try, the time of its request.
  std::int64_t endMs = 0;
};

struct CallChain {
  std::vector<ChainTry> tries;
  bool succeeded = false;  // Whether a try for a fingerprint was answered.
};

// The calls in `events`, which come oldest first; so do the calls. A call starts with a try by name
// that follows a success, another way to a fingerprint, or a pause of more than two minutes. Calls
// that clients make at the same time count as one.
std::vector<CallChain> callChains(const std::vector<ChainEvent>& events);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_CALL_CHAINS_H_
