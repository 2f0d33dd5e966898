#include "sandbox/scripts.h"

namespace zor::sandbox {
namespace {

template <typename T>
bool agrees(const std::optional<T>& wanted, const T& actual) {
  return !wanted || *wanted == actual;
}

bool suits(const Script& script, const ExchangeFacts& facts) {
  return script.ending != Ending::dropKept || facts.onKeptConnection;
}

bool matches(const ScriptMatch& match, const ExchangeFacts& facts) {
  if (!agrees(match.route, facts.route) || !agrees(match.address, facts.address) ||
      !agrees(match.host, facts.host)) {
    return false;
  }
  if (!match.pathPrefix) return true;
  return facts.target && facts.target->compare(0, match.pathPrefix->size(), *match.pathPrefix) == 0;
}

}  // namespace

std::uint64_t ScriptBook::add(const ScriptMatch& match, const Script& script,
                              std::optional<std::uint64_t> uses) {
  if (uses == std::uint64_t{0}) return 0;
  const MutexLock lock(_mutex);
  _entries.push_front({++_lastId, match, script, uses});
  return _lastId;
}

bool ScriptBook::remove(std::uint64_t id) {
  const MutexLock lock(_mutex);
  return _entries.remove_if([id](const WaitingScript& entry) { return entry.id == id; }) > 0;
}

std::vector<WaitingScript> ScriptBook::waiting() const {
  const MutexLock lock(_mutex);
  return {_entries.begin(), _entries.end()};
}

void ScriptBook::clear() {
  const MutexLock lock(_mutex);
  _entries.clear();
}

std::optional<Script> ScriptBook::takeForHandshake(const ExchangeFacts& facts) {
  return take(facts, true);
}

std::optional<Script> ScriptBook::takeForRequest(const ExchangeFacts& facts) {
  return take(facts, false);
}

std::optional<Script> ScriptBook::take(const ExchangeFacts& facts, bool handshake) {
  const MutexLock lock(_mutex);
  for (auto entry = _entries.begin(); entry != _entries.end(); ++entry) {
    if (entry->script.concernsHandshake() != handshake) continue;
    if (!matches(entry->match, facts) || !suits(entry->script, facts)) continue;
    Script script = entry->script;
    if (entry->usesLeft && --*entry->usesLeft == 0) _entries.erase(entry);
    return script;
  }
  return std::nullopt;
}

}  // namespace zor::sandbox
