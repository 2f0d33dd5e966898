#include "store/installation_identifier.h"

#include <optional>

#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "support/fork_hooks.h"

namespace zor {
namespace {

// The identifier of this process. A lock instead of a once-flag: a flag that another thread was
// setting during a fork would never be set in the child.
struct Kept {
  Kept() { holdOverFork(ForkRank::sharedIdentifier, mutex); }

  // Guards `identifier`. Taken before the store mutex; nothing of the host is called under it.
  Mutex mutex;
  std::optional<std::string> identifier ZOR_GUARDED_BY(mutex);
};

Kept& kept() {
  static auto& instance = *new Kept;
  return instance;
}

}  // namespace

std::string installationIdentifier() {
  const LogDeferral lines;
  const MutexLock lock(kept().mutex);
  if (!kept().identifier) kept().identifier = findInstallationIdentifier();
  return *kept().identifier;
}

std::string findInstallationIdentifier() {
  const std::string slotKey = dfp_slot_key(literals::kIdentifierSlot.view());
  const auto inDefaults = ports().defaults.objectForKey(slotKey);
  if (inDefaults && inDefaults->text() != nullptr && !inDefaults->text()->empty()) {
    return *inDefaults->text();
  }
  const auto inFile = dfp_store_read(slotKey);
  if (inFile && !inFile->empty()) return *inFile;
  std::string made = ports().random.uuidString();
  dfp_store_write(slotKey, made);
  dfp_defaults_set(slotKey, made);
  return made;
}

}  // namespace zor
