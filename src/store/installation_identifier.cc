#include "store/installation_identifier.h"

#include <optional>
#include <utility>

#include "literals/literals.h"
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

  // Guards what follows. Nothing is called and no file is touched under it.
  Mutex mutex;
  std::string identifier ZOR_GUARDED_BY(mutex);
  bool settled ZOR_GUARDED_BY(mutex) = false;  // Else `identifier` is empty or made up for now.
  Status status ZOR_GUARDED_BY(mutex);
};

Kept& kept() {
  static auto& instance = *new Kept;
  return instance;
}

std::string slotKey() { return dfp_slot_key(literals::kIdentifierSlot.view()); }

Reading<std::string> readIdentifier() {
  const auto inDefaults = ports().defaults.read({slotKey()});
  if (!inDefaults) return inDefaults.status();
  const auto& value = inDefaults->front();
  if (value && value->text() != nullptr && !value->text()->empty()) return *value->text();
  auto inFile = dfp_store_read(slotKey());
  return inFile && inFile->empty() ? Reading<std::string>() : inFile;
}

// Takes over what was found, or decides on a new one. True: it is to be kept.
bool settle(const Reading<std::string>& found) {
  std::string made = found ? *found : ports().random.uuidString();
  const MutexLock lock(kept().mutex);
  if (kept().settled) return false;
  // One that was made up earlier stays the same.
  if (found || kept().identifier.empty()) kept().identifier = std::move(made);
  kept().status = found.status();
  kept().settled = !found.isUnreadable();
  return kept().settled && !found;
}

// One of the two places is enough.
Status keep(const std::string& identifier) {
  const Status inFile = dfp_store_write(slotKey(), identifier);
  const Status inDefaults = dfp_defaults_set(slotKey(), identifier);
  return inFile.isSuccess() || inDefaults.isSuccess() ? Status() : inDefaults;
}

std::optional<std::string> settledIdentifier() {
  const MutexLock lock(kept().mutex);
  return kept().settled ? std::optional(kept().identifier) : std::nullopt;
}

}  // namespace

std::string installationIdentifier() {
  if (auto settled = settledIdentifier()) return *settled;
  const bool isNew = settle(readIdentifier());
  std::string identifier;
  {
    const MutexLock lock(kept().mutex);
    identifier = kept().identifier;
  }
  if (!isNew) return identifier;
  const Status status = keep(identifier);
  const MutexLock lock(kept().mutex);
  kept().status = status;
  return identifier;
}

Status installationIdentifierStatus() {
  const MutexLock lock(kept().mutex);
  return kept().status;
}

void forgetInstallationIdentifier() {
  const MutexLock lock(kept().mutex);
  kept().identifier.clear();
  kept().settled = false;
  kept().status = {};
}

}  // namespace zor
