// The scripts that wait to be used.
#ifndef ZOR_SANDBOX_SCRIPTS_H_
#define ZOR_SANDBOX_SCRIPTS_H_

#include <cstdint>
#include <list>
#include <optional>
#include <string>

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
  // `uses`: how many exchanges it is for; nullopt: all. Of several that match, the one added last
  // that is not used up counts.
  void add(const ScriptMatch& match, const Script& script, std::optional<std::uint64_t> uses);

  void clear();

  // The script for an exchange, one use taken off; nullopt: none matches. A handshake only finds
  // scripts that concern the handshake, a request only the others.
  std::optional<Script> takeForHandshake(const ExchangeFacts& facts);
  std::optional<Script> takeForRequest(const ExchangeFacts& facts);

 private:
  struct Entry {
    ScriptMatch match;
    Script script;
    std::optional<std::uint64_t> usesLeft;
  };

  std::optional<Script> take(const ExchangeFacts& facts, bool handshake);

  // Guards the entries; nothing is called under it.
  Mutex _mutex;
  std::list<Entry> _entries ZOR_GUARDED_BY(_mutex);  // The last added first.
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SCRIPTS_H_
