#include "fingerprint/local_data.h"

#include <algorithm>
#include <optional>
#include <string>

#include "consent/consent.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "store/installation_identifier.h"
#include "support/status.h"
#include "transport/backup_list.h"
#include "udid/shared_identifier_removal.h"

namespace zor {
namespace {

// One thing that is kept. `remove` succeeds, and changes nothing, when there is nothing.
struct KeptItem {
  const char* name;
  bool (*isKept)();
  Status (*remove)();
  const char* note = "";
};

// A lock file that is removed while another process waits for it would let two processes in.
constexpr const char* kStoreFileNote =
    "shared by the user's applications, goes as a whole; its empty lock file and the store path of "
    "the config stay";
constexpr const char* kFailureRecordsNote =
    "shared by the user's applications, go as a whole; the emptied file, which running programs go "
    "on using, and its empty lock file stay";
constexpr const char* kSharedSlotNote =
    "the slots of other applications stay, and so does the empty lock file";
constexpr const char* kConsentNote = "the file of the user defaults and its empty lock file stay";

bool isInDefaults(const std::string& key) { return ports().defaults.objectForKey(key).has_value(); }

Status removeFromDefaults(const std::string& key) { return ports().defaults.removeObject(key); }

std::string identifierKey() { return dfp_slot_key(literals::kIdentifierSlot.view()); }

bool isCacheKept() {
  const auto& keys = cacheKeys();
  return std::any_of(keys.begin(), keys.end(), isInDefaults);
}

Status removeCache() {
  std::vector<DefaultsPort::Change> changes;
  for (const std::string& key : cacheKeys()) changes.push_back({key, std::nullopt});
  return ports().defaults.change(changes);
}

bool isStoreFileKept() {
  const auto path = storeFilePath();
  return path && ports().files.exists(*path);
}

Status removeIdentifier() {
  Status status = removeFromDefaults(identifierKey());
  forgetInstallationIdentifier();
  return status;
}

Status removeConsent() { return keepConsent(ZORConsent::unknown); }

// In the order of removal. The store file goes before the installation identifier, which would be
// found again in it.
constexpr KeptItem kKeptItems[] = {
    {"cached-fingerprint", isCacheKept, removeCache},
    {"store-file", isStoreFileKept, removeStoreFile, kStoreFileNote},
    {"installation-identifier", [] { return isInDefaults(identifierKey()); }, removeIdentifier},
    {"shared-identifier-slot", hasOwnSharedSlot, clearOwnSharedSlots, kSharedSlotNote},
    {"shared-identifier-copy", [] { return isInDefaults(literals::kSharedIdentifierKey.str()); },
     removeSharedIdentifierCopy},
    {"failure-records", arePingbacksKept, erasePingbacks, kFailureRecordsNote},
    {"last-request", [] { return isInDefaults(literals::kLastRequestDefaultsKey.str()); },
     [] { return removeFromDefaults(literals::kLastRequestDefaultsKey.str()); }},
    {"backup-list", [] { return isInDefaults(backupAddressesKey()); },
     [] { return removeFromDefaults(backupAddressesKey()); }},
    {"consent", [] { return isInDefaults(literals::kConsentDefaultsKey.str()); }, removeConsent,
     kConsentNote},
};

ZORErasedItem erase(const KeptItem& item, bool dryRun) {
  const bool kept = item.isKept();
  if (dryRun) {
    return {item.name, kept ? ZORErasureOutcome::wouldBeRemoved : ZORErasureOutcome::nothingThere,
            "", item.note};
  }
  // Called even if nothing is kept: the process may remember what could never be written.
  const Status status = item.remove();
  if (!status.isSuccess()) {
    return {item.name, ZORErasureOutcome::notRemoved, status.sentence(), item.note};
  }
  return {item.name, kept ? ZORErasureOutcome::removed : ZORErasureOutcome::nothingThere, "",
          item.note};
}

const char* outcomeText(ZORErasureOutcome outcome) {
  switch (outcome) {
    case ZORErasureOutcome::nothingThere:
      return "nothing there";
    case ZORErasureOutcome::wouldBeRemoved:
      return "would be removed";
    case ZORErasureOutcome::removed:
      return "removed";
    case ZORErasureOutcome::notRemoved:
      return "not removed";
  }
  return "";
}

}  // namespace

std::vector<ZORErasedItem> eraseKeptData(Erasure erasure) {
  std::vector<ZORErasedItem> answer;
  for (const KeptItem& item : kKeptItems) {
    if (erasure == Erasure::allButConsent && item.remove == removeConsent) continue;
    answer.push_back(erase(item, erasure == Erasure::dryRun));
  }
  return answer;
}

ZORValue erasureAsValue(const std::vector<ZORErasedItem>& items) {
  ZORValue list = ZORValue::array();
  for (const ZORErasedItem& item : items) {
    list.append(ZORValue::dictionary({{"item", item.name},
                                      {"outcome", outcomeText(item.outcome)},
                                      {"reason", item.reason},
                                      {"note", item.note}}));
  }
  return list;
}

}  // namespace zor
