#include <ZORFingerPrint/ZORFingerPrint.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "collector/ZORDataCollector_mac.h"
#include "collector/report_entries.h"
#include "consent/consent.h"
#include "fingerprint/fingerprint_request.h"
#include "fingerprint/last_request.h"
#include "fingerprint/local_data.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/lock_wait.h"
#include "platform/ports.h"
#include "store/dfp_cache.h"
#include "store/installation_identifier.h"
#include "support/guarded_call.h"
#include "support/json_codec.h"
#include "support/process_generation.h"
#include "support/text.h"
#include "transport/ZORDing.h"
#include "udid/_OpenUDID.h"
#include "udid/shared_identifier_removal.h"

namespace zor {
namespace {

constexpr std::int64_t kRequestErrorClass = 0;  // Of a pingback.

// Applies to every request that starts in this process; 0 or less: no limit.
std::atomic<double> totalTimeoutSeconds{0};

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

Deadline deadlineOfNewRequest() {
  constexpr double kMaxSeconds = 86400;
  const double seconds = totalTimeoutSeconds;
  if (!(seconds > 0) || seconds > kMaxSeconds) return std::nullopt;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(seconds));
}

ZORFailure localFailure() {
  ZORFailure failure;
  failure.reason = ZOR_FINGERPRINT_REASON_LOCAL;
  return failure;
}

void tell(const ZORFingerprintCallback& callback, bool success, const ZORFingerprintError& error,
          const std::string& fingerprint) {
  if (callback) callIgnoringExceptions(callback, success, error, fingerprint);
}

ZORError libraryError(std::int64_t code, std::string description) {
  return {literals::kFingerprintErrorDomain.str(), code, std::move(description)};
}

// Nothing if memory runs out.
ZORFingerprintError noReportError() try {
  return libraryError(ZORFingerPrint::kNoReportCode, literals::kFingerprintNoReportMessage.str());
} catch (...) {
  return {};
}

// A request must end whatever happens: if memory runs out, as one whose answer could not be read.
FingerprintOutcome judgedOutcome(const std::optional<Data>& body,
                                 const std::optional<URLResponse>& response,
                                 const std::optional<ZORError>& error) try {
  return judgeFingerprintAnswer(body, response, error);
} catch (...) {
  return {};
}

ZORFingerprintError noConsentError() try {
  return libraryError(ZOR_FINGERPRINT_ERROR_NO_CONSENT, literals::kNoConsentMessage.str());
} catch (...) {
  return {};
}

// Called after something was kept: true if consent was refused meanwhile. What a thread or another
// process kept between the refusal and its own check is then erased.
bool isRefusedMeanwhile() {
  if (isPermitted()) return false;
  callIgnoringExceptions([] { std::ignore = eraseKeptData(Erasure::allButConsent); });
  return true;
}

std::optional<std::string> environmentReport() {
  const auto json = jsonFromValue(ZORDataCollector_mac().collect());
  if (!json) return std::nullopt;
  return ports().crypto.base64Encode(utf8Bytes(*json));
}

// The names were checked when the config took them.
void withhold(const std::vector<std::string>& names) {
  std::vector<Entry> entries;
  for (const std::string& name : names) {
    if (const auto entry = entryWithName(name)) entries.push_back(*entry);
  }
  setWithheldEntries(entries);
}

// Nothing if everything was erased.
std::optional<ZORError> erasureError(const std::vector<ZORErasedItem>& items) {
  std::string reasons;
  for (const ZORErasedItem& item : items) {
    if (item.outcome != ZORErasureOutcome::notRemoved) continue;
    if (!reasons.empty()) reasons += "; ";
    reasons += item.name + ": " + item.reason;
  }
  if (reasons.empty()) return std::nullopt;
  return libraryError(ZOR_FINGERPRINT_ERROR_NOT_ERASED, std::move(reasons));
}

}  // namespace

// Threads: callable from any. Completions hold it weakly.
class __attribute__((visibility("hidden"))) ZORFingerPrint::Implementation final
    : public std::enable_shared_from_this<Implementation> {
 public:
  // The view of the cache that a caller gets.
  struct Look {
    std::string fingerprint;  // "" when there is none or it is expired.
    bool expired = true;
    bool startRequest = false;  // This caller is the one to start the request.
  };

  // Queues `callback` for the end of the request if the cache is expired. A caller that finds a
  // fingerprint or a request in flight does not wait for any file.
  Look lookAtCacheOrJoin(const ZORFingerprintCallback& callback);

  // Called by the one caller that was told to start a request, with no lock held. Returns the
  // fingerprint if one was stored meanwhile, which makes a request unnecessary; else "".
  std::string startRequest();

  // Selector: requestFingerprint
  // Collects the report and sends it.
  void requestFingerprint();

  // Selector: requestComplete:error:fingerprint:
  // Ends the request: every waiting callback is called, in order, on this thread.
  void requestComplete(bool success, const ZORFingerprintError& error,
                       const std::string& fingerprint);

  // Selector: setFingerprint:
  static void setFingerprint(const ZORValue& data);

  ZORFailure lastFailure();
  void setLastFailure(const ZORFailure& failure);

 private:
  // One for each process: the child of a fork neither waits for a request of its parent nor has the
  // callbacks that wait for it.
  struct State {
    // Guards the members below. Not held while the cache is read or written, a request is started,
    // a callback runs or a log line is sent.
    Mutex mutext{LockRank::facade};
    std::vector<ZORFingerprintCallback> _requestCallbacks ZOR_GUARDED_BY(mutext);
    // Spelled so in the interface: a request is in flight.
    bool _isExcuting ZOR_GUARDED_BY(mutext) = false;
    ZORFailure _lastFailure ZOR_GUARDED_BY(mutext);  // Of the latest request that has ended.
  };

  void send(const std::string& report, const Deadline& deadline);
  void endLocally(const ZORFingerprintError& error);
  void finish(const FingerprintOutcome& outcome);

  OwnedPerProcess<State> _state;
  const std::shared_ptr<ZORDing> _httpAdapter = ZORDing::create();
};

ZORFingerPrint::Implementation::Look ZORFingerPrint::Implementation::lookAtCacheOrJoin(
    const ZORFingerprintCallback& callback) {
  const CacheLook cache = lookAtCache();
  if (!cache.expired) {
    if (!cache.fingerprint && cache.status.isSuccess()) std::ignore = clearCacheSeen(cache);
    // Deliberate: valid times without a fingerprint are a success with "".
    return {cache.fingerprint.value_or(""), false, false};
  }
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  if (callback) state._requestCallbacks.push_back(callback);
  return {"", true, !std::exchange(state._isExcuting, true)};
}

std::string ZORFingerPrint::Implementation::startRequest() {
  try {
    // A request that ended after this caller's first look has stored its fingerprint. No other
    // request can end before this one from now on.
    CacheLook cache = lookAtCache();
    if (!cache.expired) {
      std::string fingerprint = cache.fingerprint.value_or("");
      setLastFailure({});
      requestComplete(true, {}, fingerprint);
      return fingerprint;
    }
    if (cache.status.isSuccess()) std::ignore = clearCacheSeen(cache);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the request brings what is missing.
  }
  requestFingerprint();
  return {};
}

void ZORFingerPrint::Implementation::requestFingerprint() {
  try {
    const Deadline deadline = deadlineOfNewRequest();
    const auto report = environmentReport();
    callIgnoringExceptions(noteRequest);
    if (isRefusedMeanwhile()) return endLocally(noConsentError());
    if (report) return send(*report, deadline);
  } catch (...) {  // NOLINT(bugprone-empty-catch): those who wait are told below.
  }
  endLocally(noReportError());
}

void ZORFingerPrint::Implementation::endLocally(const ZORFingerprintError& error) {
  setLastFailure(localFailure());
  requestComplete(false, error, "");
}

void ZORFingerPrint::Implementation::send(const std::string& report, const Deadline& deadline) {
  URLRequest request = fingerprintRequest(report);
  request.deadline = deadline;
  const auto route =
      std::make_shared<std::atomic<zor_fingerprint_route>>(ZOR_FINGERPRINT_ROUTE_NONE);
  _httpAdapter->performRequest(
      request,
      [weakSelf = weak_from_this(), route](const std::optional<Data>& body,
                                           const std::optional<URLResponse>& response,
                                           const std::optional<ZORError>& error) {
        FingerprintOutcome outcome = judgedOutcome(body, response, error);
        if (!outcome.success) outcome.failure.route = *route;
        if (isPermitted()) callIgnoringExceptions([&] { noteOutcome(outcome, response); });
        if (const auto self = weakSelf.lock()) self->finish(outcome);
        if (!outcome.pingback) return;
        ZORSecPingback::sendWithError(kRequestErrorClass,
                                      literals::kPingbackTypeRequestFailed.str(), outcome.pingback);
      },
      [route](zor_fingerprint_route tried) { *route = tried; });
}

void ZORFingerPrint::Implementation::setLastFailure(const ZORFailure& failure) {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  state._lastFailure = failure;
}

ZORFailure ZORFingerPrint::Implementation::lastFailure() {
  State& state = _state.get();
  const MutexLock lock(state.mutext);
  return state._lastFailure;
}

void ZORFingerPrint::Implementation::finish(const FingerprintOutcome& outcome) {
  // Stored first: a callback that asks again finds the new fingerprint. If memory runs out and it
  // cannot be stored, it still reaches the waiting callbacks.
  if (outcome.success && isPermitted()) {
    callIgnoringExceptions([&] { setFingerprint(outcome.data); });
  }
  if (isRefusedMeanwhile()) return endLocally(noConsentError());
  setLastFailure(outcome.failure);
  requestComplete(outcome.success, outcome.error, outcome.fingerprint);
}

void ZORFingerPrint::Implementation::setFingerprint(const ZORValue& data) {
  storeFingerprint(data);
}

void ZORFingerPrint::Implementation::requestComplete(bool success, const ZORFingerprintError& error,
                                                     const std::string& fingerprint) {
  State& state = _state.get();
  std::vector<ZORFingerprintCallback> waiting;
  {
    const MutexLock lock(state.mutext);
    state._isExcuting = false;
    waiting.swap(state._requestCallbacks);
  }
  for (const ZORFingerprintCallback& callback : waiting) {
    tell(callback, success, error, fingerprint);
    if (_state.find() != &state) return;  // The callback forked; the others are the parent's.
  }
}

std::shared_ptr<ZORFingerPrint> ZORFingerPrint::sharedInstance() {
  static constinit MadeOnce<const std::shared_ptr<ZORFingerPrint>> instance;
  return instance.get(
      [] { return std::make_unique<const std::shared_ptr<ZORFingerPrint>>(create()); });
}

std::shared_ptr<ZORFingerPrint> ZORFingerPrint::create() {
  return std::make_shared<ZORFingerPrint>(Private());
}

ZORFingerPrint::ZORFingerPrint(Private) : _implementation(std::make_shared<Implementation>()) {}

ZORFingerPrint::~ZORFingerPrint() = default;

void ZORFingerPrint::setWithConfig(const ZORConfig& config) {
  if (config.consentRequired()) setConsentRequiredByHost(*config.consentRequired());
  if (config.totalTimeoutSeconds()) totalTimeoutSeconds = *config.totalTimeoutSeconds();
  if (config.withheldEntries()) withhold(*config.withheldEntries());
  const auto& path = config.storePath();
  if (!path || path->empty()) return;
  const LockWaitBudget budget;
  // A failure is logged, and the path then holds for this process only.
  std::ignore = ports().defaults.setObject(literals::kStorePathDefaultsKey.str(), *path);
}

bool ZORFingerPrint::setApplication(const std::string& identifier, const std::string& version) try {
  if (!nameApplication(identifier, version)) return false;
  ZORSecPingback::applicationWasNamed();
  return true;
} catch (...) {
  return false;
}

std::optional<ZORError> ZORConfig::setWithheldEntries(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (entryWithName(name)) continue;
    return libraryError(ZOR_FINGERPRINT_ERROR_UNKNOWN_ENTRY,
                        formatText(literals::kUnknownEntryFormat.view(),
                                   {wellFormedUtf8(name), nearestEntryName(name)}));
  }
  _withheldEntries = names;
  return std::nullopt;
}

std::vector<std::string> ZORFingerPrint::entryNames() {
  std::vector<std::string> names;
  for (const Entry entry : allEntries()) names.push_back(entryName(entry));
  return names;
}

std::optional<ZORError> ZORFingerPrint::setSharedIdentifierOptOut(bool optOut) {
  const LockWaitBudget budget;
  if (!zor::isPermitted()) {
    return libraryError(ZOR_FINGERPRINT_ERROR_NO_CONSENT, literals::kNoConsentMessage.str());
  }
  _OpenUDID::_dfp_setOptOut(optOut);
  const Status status = _OpenUDID::statusOfKeeping();
  if (isRefusedMeanwhile() || status.isSuccess()) return std::nullopt;
  return libraryError(ZOR_FINGERPRINT_ERROR_NOT_KEPT, status.sentence());
}

bool ZORFingerPrint::isSharedIdentifierOptedOut() {
  const auto copy = sharedIdentifierCopy();
  return copy && (*copy)[literals::kSharedOptOutKey.view()].isDate();
}

std::string ZORFingerPrint::PLATFORM() { return ZORDataCollector_mac::PLATFORM(); }

std::string ZORFingerPrint::VERSION() { return ZORDataCollector_mac::VERSION(); }

std::string ZORFingerPrint::identifier() {
  const LockWaitBudget budget;
  if (!isPermitted()) return {};
  std::string identifier = installationIdentifier();
  return isRefusedMeanwhile() ? std::string() : identifier;
}

std::optional<ZORError> ZORFingerPrint::setConsent(ZORConsent consent) {
  const LockWaitBudget budget;
  const Status keeping = keepConsent(consent);
  // Erased in any case: the refusal counts, even if only for this process.
  auto problem = consent == ZORConsent::refused
                     ? erasureError(eraseKeptData(Erasure::allButConsent))
                     : std::nullopt;
  if (!keeping.isSuccess()) {
    return libraryError(ZOR_FINGERPRINT_ERROR_NOT_KEPT, keeping.sentence());
  }
  return problem;
}

ZORConsent ZORFingerPrint::consent() { return keptConsent(); }

bool ZORFingerPrint::isPermitted() { return zor::isPermitted(); }

std::vector<ZORErasedItem> ZORFingerPrint::eraseLocalData(bool dryRun) {
  const LockWaitBudget budget;
  return eraseKeptData(dryRun ? Erasure::dryRun : Erasure::everything);
}

std::string ZORFingerPrint::getFingerprint(const ZORFingerprintCallback& callback) try {
  const LockWaitBudget budget;
  // A callback may clear the variable of the host that holds it.
  const ZORFingerprintCallback retained = callback;
  if (!zor::isPermitted()) {
    _implementation->setLastFailure(localFailure());
    tell(retained, false, noConsentError(), "");
    return {};
  }
  auto look = _implementation->lookAtCacheOrJoin(retained);
  if (look.startRequest) look.fingerprint = _implementation->startRequest();
  if (!look.expired) tell(retained, true, {}, look.fingerprint);
  callIgnoringExceptions([] { GetPingbackStore()->checkIfNeedUpload(); });
  return std::move(look.fingerprint);
} catch (...) {  // Memory ran out before the callback was queued.
  tell(callback, false, {}, "");
  return {};
}

ZORFailure ZORFingerPrint::lastFailure() const { return _implementation->lastFailure(); }

std::optional<std::string> ZORFingerPrint::getEnvInfo() try {
  const LockWaitBudget budget;
  if (!zor::isPermitted()) return std::nullopt;
  auto report = environmentReport();
  return isRefusedMeanwhile() ? std::nullopt : std::move(report);
} catch (...) {
  return std::nullopt;
}

void ZORFingerPrint::clearFingerprintCache() try {
  const LockWaitBudget budget;
  // Forgetting creates a missing store file, which must not happen without permission.
  if (zor::isPermitted() || cacheState().fingerprintPresent) std::ignore = clear_dfp_cache();
} catch (...) {  // NOLINT(bugprone-empty-catch): nothing is thrown across the interface.
}

}  // namespace zor
