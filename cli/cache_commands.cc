#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "store/dfp_cache.h"
#include "support/json_codec.h"

namespace zor::cli {
namespace {

std::string shownSeconds(const std::optional<double>& seconds) {
  return seconds ? jsonForDisplay(*seconds) + " s" : "-";
}

// A time that is not finite is printed as null.
ZORValue asJson(const CacheState& state) {
  const Status& status = state.status;
  return ZORValue::dictionary({{"present", state.fingerprintPresent},
                               {"valid", state.fingerprintPresent && !state.expired},
                               {"validUntil", ZORValue::orNull(endOfValidity(state.times))},
                               {"expiry", ZORValue::orNull(state.times.expiry)},
                               {"lifetime", ZORValue::orNull(state.times.lifetime)},
                               {"storedAt", ZORValue::orNull(state.times.storedAt)},
                               {"storeFile", ZORValue::orNull(state.storeFilePath)},
                               {"error", status.isSuccess() ? ZORValue() : status.sentence()}});
}

void printForPeople(const CacheState& state) {
  const std::string verdict = !state.fingerprintPresent ? "none"
                              : state.expired           ? "expired"
                                                        : "valid";
  // A lifetime takes precedence over the expiry date from the service.
  printTable({{"fingerprint", verdict},
              {"valid until", shownTime(endOfValidity(state.times))},
              {"stored at", shownTime(state.times.storedAt)},
              {"lifetime", shownSeconds(state.times.lifetime)},
              {"expiry given", shownTime(state.times.expiry)},
              {"store file", shown(state.storeFilePath.value_or("-"))}});
}

}  // namespace

int runCacheShow(bool json) {
  const CacheState state = cacheState();
  if (json) {
    printJson(asJson(state));
  } else {
    printForPeople(state);
  }
  if (state.status.isSuccess()) return kDone;
  printDiagnostic("The cache could not be read: " + state.status.sentence() + ".");
  return kFailed;
}

int runCacheClear() {
  const Status status = clear_dfp_cache();
  if (status.isSuccess()) return kDone;
  printDiagnostic("The cached fingerprint could not be cleared: " + status.sentence() + ".");
  return kFailed;
}

}  // namespace zor::cli
