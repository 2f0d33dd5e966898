#include "store/installation_identifier.h"

#include <optional>
#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "support/process_generation.h"

namespace zor {
namespace {

// The identifier of this process.
struct Kept {
  // Guards the members below. Nothing is called and no file is touched under it.
  Mutex mutex{LockRank::installationIdentifier};
  std::string identifier ZOR_GUARDED_BY(mutex);
  bool settled ZOR_GUARDED_BY(mutex) = false;  // Else `identifier` is empty or made up for now.
  Status status ZOR_GUARDED_BY(mutex);
};

Kept& kept() {
  static constinit PerProcess<Kept> own;
  return own.get();
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

// Takes over the identifier that was found, or decides on a new one. True: it has to be kept.
bool settle(const Reading<std::string>& found) {
  std::string made = found ? *found : ports().random.uuidString();
  Kept& own = kept();
  const MutexLock lock(own.mutex);
  if (own.settled) return false;
  // One that was made up earlier stays the same.
  if (found || own.identifier.empty()) own.identifier = std::move(made);
  own.status = found.status();
  own.settled = !found.isUnreadable();
  return own.settled && !found;
}

// Success if one of the two places holds it.
Status keep(const std::string& identifier) {
  const Status inFile = dfp_store_write(slotKey(), identifier);
  const Status inDefaults = dfp_defaults_set(slotKey(), identifier);
  return inFile.isSuccess() || inDefaults.isSuccess() ? Status() : inDefaults;
}

std::optional<std::string> settledIdentifier() {
  Kept& own = kept();
  const MutexLock lock(own.mutex);
  return own.settled ? std::optional(own.identifier) : std::nullopt;
}

}  // namespace

std::string installationIdentifier() {
  if (auto settled = settledIdentifier()) return *settled;
  const bool isNew = settle(readIdentifier());
  Kept& own = kept();
  std::string identifier;
  {
    const MutexLock lock(own.mutex);
    identifier = own.identifier;
  }
  if (!isNew) return identifier;
  const Status status = keep(identifier);
  const MutexLock lock(own.mutex);
  own.status = status;
  return identifier;
}

Status installationIdentifierStatus() {
  Kept& own = kept();
  const MutexLock lock(own.mutex);
  return own.status;
}

void forgetInstallationIdentifier() {
  Kept& own = kept();
  const MutexLock lock(own.mutex);
  own.identifier.clear();
  own.settled = false;
  own.status = {};
}

}  // namespace zor
