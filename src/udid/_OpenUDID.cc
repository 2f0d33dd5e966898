#include "udid/_OpenUDID.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/fork_hooks.h"
#include "support/mutex.h"
#include "support/text.h"

namespace zor {
namespace {

// Longer texts are no identifiers and no slot names of ours.
constexpr std::size_t kMaxNameBytes = 256;

struct Session {
  // Guards the cache and makes callers of this process take turns: two first calls at once would
  // otherwise generate two identifiers. Ports are called under it, nothing of this library else.
  Mutex mutex;
  // Empty until the first value has been found.
  std::string kOpenUDIDSessionCache ZOR_GUARDED_BY(mutex);
};

Session& session() {
  static Session& shared = *[] {
    auto* made = new Session;
    holdOverFork(ForkRank::sharedIdentifier, made->mutex);
    return made;
  }();
  return shared;
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

std::string slotName(unsigned index) {
  return formatText(literals::kSharedSlotNameFormat.view(),
                    {literals::kSharedSlotPrefix.str(), std::to_string(index)});
}

// The text under `key`. An empty one names nothing, and one beyond bounds is not ours: both are
// absent.
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

// This application's copy in its defaults.
std::optional<ZORValue> localDictionary() {
  auto stored = ports().defaults.objectForKey(literals::kSharedIdentifierKey.str());
  return stored && stored->isDictionary() ? std::move(stored) : std::nullopt;
}

void storeLocalDictionary(const ZORValue& dictionary) {
  ports().defaults.setObject(literals::kSharedIdentifierKey.str(), dictionary);
}

ZORDate now() { return {ports().clock.secondsSince1970()}; }

// What this application keeps and what the slots say, before anything is decided.
struct Findings {
  std::optional<ZORValue> local;
  std::optional<std::string> localIdentifier;
  std::optional<std::string> recordedSlot;
  std::optional<ZORDate> optOutDate;  // Present: opted out.
  std::optional<std::string> freeSlot;
  std::map<std::string, unsigned> slotsPerIdentifier;
};

void readLocal(Findings& findings) {
  findings.local = localDictionary();
  if (!findings.local) return;
  findings.localIdentifier = nameForKey(*findings.local, literals::kSharedIdentifierKey.view());
  findings.recordedSlot = nameForKey(*findings.local, literals::kSharedSlotKey.view());
  findings.optOutDate = (*findings.local)[literals::kSharedOptOutKey.view()].date();
}

void readSlot(const std::string& name, const std::string& application, Findings& findings) {
  const auto pasteboard = ports().pasteboards.pasteboardWithName(name);
  const auto slot = _OpenUDID::_getDictFromPasteboard(pasteboard.get());
  const auto identifier = nameForKey(slot, literals::kSharedIdentifierKey.view());
  if (identifier) ++findings.slotsPerIdentifier[*identifier];
  if (!identifier && !findings.freeSlot) findings.freeSlot = name;
  if (slot[literals::kSharedApplicationKey.view()] != application) return;
  findings.recordedSlot = name;
  // Opted out stays only who is so in the slot as well; nobody is opted out by a slot alone.
  if (findings.optOutDate) findings.optOutDate = slot[literals::kSharedOptOutKey.view()].date();
}

Findings readFindings(const std::string& application) {
  Findings findings;
  readLocal(findings);
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    readSlot(slotName(index), application, findings);
  }
  return findings;
}

// Of identifiers in equally many slots the last in the order of their bytes, so that every
// application takes the same.
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
  return findings.freeSlot &&
         (!findings.recordedSlot || findings.recordedSlot == findings.freeSlot);
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

// Adopts or generates an identifier where the application has none, claims a slot where it may, and
// keeps both. Returns the identifier.
std::string settle(Findings findings, const std::string& application) {
  std::string identifier;
  bool changed = false;
  if (findings.localIdentifier) {
    identifier = *findings.localIdentifier;
  } else {
    const auto most = mostFrequent(findings.slotsPerIdentifier);
    identifier = most ? *most : _OpenUDID::_generateFreshOpenUDID();
    // Deliberate: a local dictionary that lacks the identifier is left without.
    if (!findings.local) {
      findings.local = newLocalDictionary(identifier, application, findings.optOutDate);
      changed = true;
    }
  }
  if (claimsSlot(findings)) {
    findings.local->set(literals::kSharedSlotKey.view(), *findings.freeSlot);
    changed = true;
    const auto pasteboard = ports().pasteboards.pasteboardWithName(*findings.freeSlot);
    _OpenUDID::_setDict(*findings.local, pasteboard.get());
  }
  if (changed) storeLocalDictionary(*findings.local);
  return identifier;
}

// Held by whoever has an identifier to find or a slot to claim, so that applications started
// together on a new machine do not each generate one. Null where no lock can be had: then the later
// write wins.
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

std::string findIdentifier(ZORError* error) {
  const std::string application = applicationIdentifier();
  Findings findings = readFindings(application);
  std::unique_ptr<FileLock> lock;
  if (!findings.localIdentifier || claimsSlot(findings)) {
    lock = lockSlots();
    if (lock) findings = readFindings(application);  // Another process may have been quicker.
  }
  const std::string identifier = settle(findings, application);
  storeOutcome(error, describeOutcome(findings, application));
  return findings.optOutDate ? literals::kSharedOptedOutPlaceholder.str() : identifier;
}

std::string valueWithError(Session& state, ZORError* error) ZOR_REQUIRES(state.mutex) {
  if (state.kOpenUDIDSessionCache.empty()) {
    state.kOpenUDIDSessionCache = findIdentifier(error);
  } else {
    storeOutcome(error, outcomeError(SharedIdentifierOutcome::consistent,
                                     literals::kSharedCachedText.str()));
  }
  return state.kOpenUDIDSessionCache;
}

}  // namespace

std::string _OpenUDID::_dfp_value() { return _dfp_valueWithError(nullptr); }

std::string _OpenUDID::_dfp_valueWithError(ZORError* error) {
  Session& state = session();
  const LogDeferral deferral;
  const MutexLock lock(state.mutex);
  return valueWithError(state, error);
}

void _OpenUDID::_dfp_setOptOut(bool optOut) {
  Session& state = session();
  const LogDeferral deferral;
  const MutexLock lock(state.mutex);
  std::ignore = valueWithError(state, nullptr);  // So that there is a local dictionary.
  ZORValue local = localDictionary().value_or(ZORValue::dictionary());
  if (optOut) {
    local.set(literals::kSharedOptOutKey.view(), now());
  } else {
    local.erase(literals::kSharedOptOutKey.view());
  }
  storeLocalDictionary(local);
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
  if (pasteboard == nullptr) return;
  const auto archived = ports().archive.archivedData(dictionary);
  if (!archived) return;
  // A slot that cannot be written stays free and is claimed at the next look.
  std::ignore = pasteboard->setData(*archived, literals::kSharedPasteboardType.str());
}

ZORValue _OpenUDID::_getDictFromPasteboard(Pasteboard* pasteboard) {
  if (pasteboard == nullptr) return ZORValue::dictionary();
  const auto archived = pasteboard->dataForType(literals::kSharedPasteboardType.str());
  if (!archived || archived->size() > kMaxPasteboardBytes) return ZORValue::dictionary();
  return ports().archive.unarchivedDictionary(*archived).value_or(ZORValue::dictionary());
}

}  // namespace zor
