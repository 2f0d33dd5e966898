// The scripts that wait to be used.
#ifndef ZOR_SANDBOX_SCRIPTS_H_
#define ZOR_SANDBOX_SCRIPTS_H_

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"
#include "support/mutex.h"

namespace zor::sandbox {

// What a script is matched against. During the handshake there is no target yet.
struct ExchangeFacts {
  Route route = Route::unknown;
  std::string address;
  std::string host;  // Without a port.
  std::optional<std::string> target;
  bool onKeptConnection = false;  // Not the first request of its connection.
};

// Callable from any thread.
class ScriptBook {
 public:
  // `uses`: how many exchanges it is for; nullopt: all. If several match, the one added last that
  // is not used up applies. Returns a number for remove(); 0: `uses` was 0.
  std::uint64_t add(const ScriptMatch& match, const Script& script,
                    std::optional<std::uint64_t> uses);

  // False: no script has that number, or it is used up.
  bool remove(std::uint64_t id);
  void clear();

  // In the order in which they are tried.
  std::vector<WaitingScript> waiting() const;

  // The script for an exchange, which uses it once; nullopt: none matches. A handshake only finds
  // scripts that concern the handshake, a request only the others.
  std::optional<Script> takeForHandshake(const ExchangeFacts& facts);
  std::optional<Script> takeForRequest(const ExchangeFacts& facts);

 private:
  std::optional<Script> take(const ExchangeFacts& facts, bool handshake);

  // Guards the entries; nothing is called under it.
  mutable Mutex _mutex;
  std::list<WaitingScript> _entries ZOR_GUARDED_BY(_mutex);  // The last one added comes first.
  std::uint64_t _lastId ZOR_GUARDED_BY(_mutex) = 0;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SCRIPTS_H_
