#include "udid/_OpenUDID.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/process_generation.h"
#include "support/text.h"

namespace zor {
namespace {

// Longer texts are neither identifiers nor slot names of this library.
constexpr std::size_t kMaxNameBytes = 256;

struct Session {
  // Taken by callers that settle the identifier or change what is kept: otherwise two first calls
  // at once would generate two identifiers. A caller that finds the cache filled does not need it.
  // The lock that keeps other processes away from the slots is taken before both.
  Mutex settling{LockRank::sharedIdentifierSearch};
  // Generated while something could not be read; empty: none.
  std::string madeUpForNow ZOR_GUARDED_BY(settling);

  Mutex mutex{LockRank::sharedIdentifier};  // Guards what follows. Nothing is called under it.
  // Empty until the first value has been found.
  std::string kOpenUDIDSessionCache ZOR_GUARDED_BY(mutex);
  Status kept ZOR_GUARDED_BY(mutex);
};

Session& session() {
  static constinit PerProcess<Session> shared;
  return shared.get();
}

ZORError outcomeError(SharedIdentifierOutcome code, std::string description) {
  return {literals::kSharedErrorDomain.str(), static_cast<std::int64_t>(code),
          std::move(description)};
}

void storeOutcome(ZORError* slot, const ZORError& error) {
  if (slot != nullptr) *slot = error;
}

// "2023-11-14 22:13:20 +0000", kept within four-digit years.
std::string dateText(ZORDate date) {
  constexpr double kMinSecondsSince1970 = -62135596800.0;  // 0001-01-01
  constexpr double kMaxSecondsSince1970 = 253402300799.0;  // 9999-12-31
  const double bounded = date.secondsSince1970 >= kMinSecondsSince1970
                             ? std::min(date.secondsSince1970, kMaxSecondsSince1970)
                             : kMinSecondsSince1970;  // Not-a-number comes here too.
  const auto time = std::chrono::floor<std::chrono::seconds>(
      std::chrono::sys_time<std::chrono::duration<double>>(std::chrono::duration<double>(bounded)));
  const auto midnight = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss clock(time - midnight);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

// The text under `key`; nullopt if it is empty or too long to be one of this library's.
std::optional<std::string> nameForKey(const ZORValue& dictionary, std::string_view key) {
  const std::string* name = dictionary[key].text();
  if (name == nullptr || name->empty() || name->size() > kMaxNameBytes) return std::nullopt;
  return *name;
}

// This application's own identifier. Deliberate: it is looked for at the top level of the defaults,
// where this class never stores it, so that without help from elsewhere each process has a new one.
std::string applicationIdentifier() {
  const auto stored = ports().defaults.objectForKey(literals::kSharedApplicationKey.str());
  if (stored && stored->text() != nullptr) return *stored->text();
  return ports().random.uuidString();
}

// This application's copy in its defaults; nothing also for an entry that is not a dictionary.
Reading<ZORValue> localDictionary() {
  auto stored = ports().defaults.read({literals::kSharedIdentifierKey.str()});
  if (!stored) return stored.status();
  auto& value = stored->front();
  return value && value->isDictionary() ? Reading<ZORValue>(*std::move(value))
                                        : Reading<ZORValue>();
}

Status storeLocalDictionary(const ZORValue& dictionary) {
  return ports().defaults.setObject(literals::kSharedIdentifierKey.str(), dictionary);
}

ZORDate now() { return {ports().clock.secondsSince1970()}; }

// What this application keeps and what the slots say, before anything is decided.
struct Findings {
  std::optional<ZORValue> local;
  std::optional<std::string> localIdentifier;
  std::optional<std::string> recordedSlot;
  std::optional<ZORDate> optOutDate;  // Present: opted out.
  std::vector<std::string> freeSlots;
  std::map<std::string, unsigned> slotsPerIdentifier;
  Status status;  // Not success: something cannot be read now, so that nothing may be kept.
};

void readLocal(Findings& findings) {
  const auto local = localDictionary();
  findings.status = local.status();
  if (!local) return;
  findings.local = *local;
  findings.localIdentifier = nameForKey(*local, literals::kSharedIdentifierKey.view());
  findings.recordedSlot = nameForKey(*local, literals::kSharedSlotKey.view());
  findings.optOutDate = (*local)[literals::kSharedOptOutKey.view()].date();
}

// A slot that another user made, root for instance, stays closed to this one.
bool isForeign(const Status& status) {
  return status.systemError() == EACCES || status.systemError() == EPERM;
}

Reading<ZORValue> readPasteboard(Pasteboard* pasteboard) {
  if (pasteboard == nullptr) return {};
  const auto archived = pasteboard->dataForType(literals::kSharedPasteboardType.str());
  if (archived.isUnreadable()) return archived.status();
  if (!archived || archived->size() > kMaxPasteboardBytes) return {};
  auto dictionary = ports().archive.unarchivedDictionary(*archived);
  return dictionary ? Reading<ZORValue>(*std::move(dictionary)) : Reading<ZORValue>();
}

void readSlot(const std::string& name, const std::string& application, Findings& findings) {
  const auto found = readPasteboard(ports().pasteboards.pasteboardWithName(name).get());
  if (found.isUnreadable()) {  // It counts as taken.
    if (!isForeign(found.status())) findings.status = found.status();
    return;
  }
  const ZORValue slot = found.content().value_or(ZORValue::dictionary());
  const auto identifier = nameForKey(slot, literals::kSharedIdentifierKey.view());
  if (identifier) ++findings.slotsPerIdentifier[*identifier];
  if (!identifier) findings.freeSlots.push_back(name);
  if (slot[literals::kSharedApplicationKey.view()] != application) return;
  findings.recordedSlot = name;
  // An application stays opted out only if its slot says so too. A slot alone does not opt an
  // application out.
  if (findings.optOutDate) findings.optOutDate = slot[literals::kSharedOptOutKey.view()].date();
}

Findings readFindings(const std::string& application) {
  Findings findings;
  readLocal(findings);
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    readSlot(sharedSlotName(index), application, findings);
  }
  return findings;
}

// If several identifiers are in equally many slots, the last in byte order wins, so that every
// application takes the same one.
std::optional<std::string> mostFrequent(const std::map<std::string, unsigned>& slotsPerIdentifier) {
  std::optional<std::string> most;
  unsigned slots = 0;
  for (const auto& [identifier, count] : slotsPerIdentifier) {
    if (count < slots) continue;
    most = identifier;
    slots = count;
  }
  return most;
}

// Only an application without a slot claims one, or one whose slot is empty again; so later changes
// of the local dictionary, opting out included, do not reach a slot that is in use.
bool claimsSlot(const Findings& findings) {
  return !findings.freeSlots.empty() &&
         (!findings.recordedSlot || *findings.recordedSlot == findings.freeSlots.front());
}

ZORValue newLocalDictionary(const std::string& identifier, const std::string& application,
                            const std::optional<ZORDate>& optOutDate) {
  // Deliberate: the opt-out date takes the creation date's place and no opt-out entry is made. Not
  // met in practice, as only a local dictionary opts an application out.
  return ZORValue::dictionary(
      {{literals::kSharedIdentifierKey.str(), identifier},
       {literals::kSharedApplicationKey.str(), application},
       {literals::kSharedTimestampKey.str(), optOutDate ? *optOutDate : now()}});
}

// The identifier that the findings lead to; absent where one has to be generated.
std::optional<std::string> identifierIn(const Findings& findings) {
  return findings.localIdentifier ? findings.localIdentifier
                                  : mostFrequent(findings.slotsPerIdentifier);
}

Status writePasteboard(const ZORValue& dictionary, Pasteboard* pasteboard) {
  constexpr const char* kFailure = "cannot claim a slot";
  if (pasteboard == nullptr) return Status::unusable(kFailure, "there is no such pasteboard");
  const auto archived = ports().archive.archivedData(dictionary);
  if (!archived) return Status::unusable(kFailure, "a text is not valid UTF-8");
  return pasteboard->setData(*archived, literals::kSharedPasteboardType.str());
}

// Writes the local dictionary to the first free slot, or the first that this user may write. One
// that cannot be written for another reason stays free and is claimed at the next look.
Status claimSlot(Findings& findings) {
  Status status;
  for (const std::string& name : findings.freeSlots) {
    findings.local->set(literals::kSharedSlotKey.view(), name);
    const auto pasteboard = ports().pasteboards.pasteboardWithName(name);
    status = writePasteboard(*findings.local, pasteboard.get());
    if (!isForeign(status)) break;
  }
  return status;
}

// Claims a slot for `identifier` where the application may, and keeps both. Success: the next run
// finds the identifier, in the slot or in the defaults.
Status keep(const std::string& identifier, Findings& findings, const std::string& application) {
  bool changed = false;
  bool inSlot = false;
  // Deliberate: a local dictionary that lacks the identifier is left without.
  if (!findings.local) {
    findings.local = newLocalDictionary(identifier, application, findings.optOutDate);
    changed = true;
  }
  if (claimsSlot(findings)) {
    inSlot = claimSlot(findings).isSuccess();
    changed = true;
  }
  if (!changed) return {};
  const Status inDefaults = storeLocalDictionary(*findings.local);
  return inSlot ? Status() : inDefaults;
}

// Held while an identifier is found or a slot is claimed, so that applications started together on
// a new machine do not each generate an identifier. Null if the lock is not free in time: then the
// later write wins.
std::unique_ptr<FileLock> lockSlots() {
  const auto directory = ports().files.libraryDirectory();
  if (!directory || !ports().files.createDirectories(*directory).isSuccess()) return nullptr;
  return ports()
      .files.lockBeside(pathByAppending(*directory, literals::kSharedIdentifierKey.str()))
      .lock;
}

ZORError describeOutcome(const Findings& findings, const std::string& application) {
  if (findings.optOutDate) {
    return outcomeError(SharedIdentifierOutcome::optedOut,
                        formatText(literals::kSharedOptedOutFormat.view(),
                                   {application, dateText(*findings.optOutDate)}));
  }
  const auto most = mostFrequent(findings.slotsPerIdentifier);
  if (findings.localIdentifier && most && *most != *findings.localIdentifier) {
    return outcomeError(SharedIdentifierOutcome::conflict, literals::kSharedConflictText.str());
  }
  return outcomeError(SharedIdentifierOutcome::consistent, literals::kSharedConsistentText.str());
}

std::optional<std::string> cachedValue(ZORError* error) {
  const MutexLock lock(session().mutex);
  if (session().kOpenUDIDSessionCache.empty()) return std::nullopt;
  storeOutcome(
      error, outcomeError(SharedIdentifierOutcome::consistent, literals::kSharedCachedText.str()));
  return session().kOpenUDIDSessionCache;
}

void remember(const std::string& value, const Status& kept) {
  const MutexLock lock(session().mutex);
  session().kOpenUDIDSessionCache = value;
  session().kept = kept;
}

// Decides on the identifier and keeps it, unless something could not be read: then it is not the
// last word, and the next call looks again.
std::string settle(Findings findings, const std::string& application, ZORError* error)
    ZOR_REQUIRES(session().settling) {
  auto identifier = identifierIn(findings);
  std::string& madeUp = session().madeUpForNow;
  if (!identifier) {
    if (madeUp.empty()) madeUp = _OpenUDID::_generateFreshOpenUDID();
    identifier = madeUp;
  }
  const bool isFinal = findings.status.isSuccess();
  const Status kept = isFinal ? keep(*identifier, findings, application) : findings.status;
  storeOutcome(error, describeOutcome(findings, application));
  std::string value =
      findings.optOutDate ? literals::kSharedOptedOutPlaceholder.str() : *identifier;
  if (isFinal) madeUp.clear();
  remember(isFinal ? value : "", kept);
  return value;
}

std::string findIdentifier(ZORError* error) {
  const std::string application = applicationIdentifier();
  Findings findings = readFindings(application);
  std::unique_ptr<FileLock> otherProcessesHeldOff;
  if (!findings.localIdentifier || claimsSlot(findings)) otherProcessesHeldOff = lockSlots();
  const MutexLock lock(session().settling);
  if (auto value = cachedValue(error)) return *value;  // Another thread was faster.
  if (otherProcessesHeldOff) findings = readFindings(application);
  return settle(std::move(findings), application, error);
}

}  // namespace

std::string sharedSlotName(unsigned index) {
  return nameInProfile(formatText(literals::kSharedSlotNameFormat.view(),
                                  {literals::kSharedSlotPrefix.str(), std::to_string(index)}));
}

std::string _OpenUDID::_dfp_value() { return _dfp_valueWithError(nullptr); }

std::string _OpenUDID::_dfp_valueWithError(ZORError* error) {
  const LogDeferral deferral;
  if (auto value = cachedValue(error)) return *value;
  return findIdentifier(error);
}

void _OpenUDID::_dfp_setOptOut(bool optOut) {
  const LogDeferral deferral;
  std::ignore = _dfp_value();  // So that there is a local dictionary.
  const MutexLock lock(session().settling);
  const auto found = localDictionary();
  ZORValue local = found.content().value_or(ZORValue::dictionary());
  if (optOut) {
    local.set(literals::kSharedOptOutKey.view(), now());
  } else {
    local.erase(literals::kSharedOptOutKey.view());
  }
  remember("", found.isUnreadable() ? found.status() : storeLocalDictionary(local));
}

Status _OpenUDID::statusOfKeeping() {
  const MutexLock lock(session().mutex);
  return session().kept;
}

void _OpenUDID::forgetProcessValue() {
  Session& state = session();
  const MutexLock lock(state.mutex);
  state.kOpenUDIDSessionCache.clear();
}

std::string _OpenUDID::_generateFreshOpenUDID() {
  const Md5Digest digest = ports().crypto.md5(utf8Bytes(ports().random.uuidString()));
  const std::uint32_t number = ports().random.randomNumber();
  char text[64];
  // The format is the library's own; it takes the sixteen bytes, then the number.
  std::snprintf(text, sizeof text, literals::kSharedIdentifierFormat.c_str(), digest[0], digest[1],
                digest[2], digest[3], digest[4], digest[5], digest[6], digest[7], digest[8],
                digest[9], digest[10], digest[11], digest[12], digest[13], digest[14], digest[15],
                number);
  return text;
}

void _OpenUDID::_setDict(const ZORValue& dictionary, Pasteboard* pasteboard) {
  std::ignore = writePasteboard(dictionary, pasteboard);
}

ZORValue _OpenUDID::_getDictFromPasteboard(Pasteboard* pasteboard) {
  return readPasteboard(pasteboard).content().value_or(ZORValue::dictionary());
}

}  // namespace zor
