#include "store/dfp_cache.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/process_generation.h"
#include "support/text.h"

namespace zor {
namespace {

// Where each value stands in cacheKeys().
enum CacheKey : std::size_t { kFingerprint, kExpiry, kLifetime, kStoredAt };

// Numbers and numeric texts alike; nullopt for other kinds.
std::optional<double> timeOf(const std::optional<ZORValue>& value) {
  if (!value) return std::nullopt;
  if (const auto number = value->number()) return number;
  if (value->text() != nullptr) return doubleValue(*value->text());
  return std::nullopt;
}

// As timeOf; an empty text is not a time either.
std::optional<double> givenTimeOf(const std::optional<ZORValue>& value) {
  if (value && value->text() != nullptr && value->text()->empty()) return std::nullopt;
  return timeOf(value);
}

// The four values and their times; the fingerprint only if the defaults hold it.
CacheLook lookAtDefaults() {
  CacheLook look;
  auto values = ports().defaults.read(cacheKeys());
  look.status = values.status();
  if (!values) return look;
  look.values = std::move(*values);
  look.times = {timeOf(look.values[kExpiry]), givenTimeOf(look.values[kLifetime]),
                givenTimeOf(look.values[kStoredAt])};
  // Only now: a time stored by another process after this is read would be in the future.
  look.expired = isExpired(look.times, ports().clock.secondsSince1970());
  const auto& kept = look.values[kFingerprint];
  if (kept && kept->text() != nullptr && !kept->text()->empty()) look.fingerprint = *kept->text();
  return look;
}

void addFromStoreFile(CacheLook& look) {
  if (look.fingerprint) return;
  const auto inFile = dfp_store_read(cacheKeys()[kFingerprint]);
  if (inFile && !inFile->empty()) look.fingerprint = *inFile;
  if (inFile.isUnreadable()) look.status = inFile.status();
}

// Toward zero, to the nearest limit beyond the range, 0 for not-a-number.
std::int64_t integerOf(double number) {
  constexpr double kTwoToThe63 = 9223372036854775808.0;
  if (std::isnan(number)) return 0;
  if (number >= kTwoToThe63) return std::numeric_limits<std::int64_t>::max();
  if (number < -kTwoToThe63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

// What the platform calls the longLongValue of a number or a text; 0 for other kinds.
std::int64_t integerOf(const ZORValue& value) {
  if (const auto integer = value.integer()) return *integer;
  if (value.unsignedInteger()) return std::numeric_limits<std::int64_t>::max();
  if (const auto number = value.number()) return integerOf(*number);
  if (const auto flag = value.boolean()) return *flag ? 1 : 0;
  return value.text() != nullptr ? longLongValue(*value.text()) : 0;
}

}  // namespace

bool isExpired(const CacheTimes& times, double now) {
  if (!times.expiry) return true;
  // Written so that a comparison with not-a-number never keeps a fingerprint alive.
  if (times.lifetime && times.storedAt) {
    return !(*times.storedAt <= now && now <= *times.lifetime + *times.storedAt);
  }
  return !(now <= *times.expiry);
}

std::optional<double> endOfValidity(const CacheTimes& times) {
  if (!times.expiry) return std::nullopt;
  const bool byLifetime = times.lifetime && times.storedAt;
  const double end = byLifetime ? *times.lifetime + *times.storedAt : *times.expiry;
  return std::isnan(end) ? std::nullopt : std::optional(end);
}

const std::vector<std::string>& cacheKeys() {
  static constinit MadeOnce<const std::vector<std::string>> keys;
  return keys.get([] {
    return std::make_unique<const std::vector<std::string>>(std::vector{
        dfp_slot_key(literals::kFingerprintSlot.view()), dfp_slot_key(literals::kExpirySlot.view()),
        dfp_slot_key(literals::kLifetimeSlot.view()),
        dfp_slot_key(literals::kStoredAtSlot.view())});
  });
}

CacheState cacheState() {
  CacheLook look = lookAtDefaults();
  addFromStoreFile(look);
  return {look.fingerprint.has_value(), look.expired, look.times, storeFilePath(), look.status};
}

Status dfp_defaults_set(const std::string& slotKey, const std::optional<std::string>& value) {
  if (value && !value->empty()) return ports().defaults.setObject(slotKey, *value);
  return ports().defaults.removeObject(slotKey);
}

CacheLook lookAtCache() {
  CacheLook look = lookAtDefaults();
  if (!look.expired) addFromStoreFile(look);
  return look;
}

std::optional<std::string> cachedFingerprint() {
  CacheLook look = lookAtDefaults();
  addFromStoreFile(look);
  return look.fingerprint;
}

bool is_dfp_expired() { return lookAtDefaults().expired; }

Status clearCacheSeen(const CacheLook& look) {
  if (look.values.empty()) return look.status;
  const std::string& slotKey = cacheKeys()[kFingerprint];
  const auto inFile = dfp_store_read(slotKey);
  // If it differs from the defaults, another thread or process is storing a new one.
  const bool isMirror = !look.fingerprint || !inFile || *inFile == *look.fingerprint;
  Status status = isMirror ? dfp_store_forget(slotKey, inFile.content()) : Status();
  const Status inDefaults = ports().defaults.removeIfStill(cacheKeys(), look.values);
  return inDefaults.isSuccess() ? status : inDefaults;
}

Status clear_dfp_cache() {
  Status status;
  if (storeFilePath()) status = dfp_store_write(cacheKeys()[kFingerprint], std::nullopt);
  std::vector<DefaultsPort::Change> changes;
  for (const std::string& key : cacheKeys()) changes.push_back({key, std::nullopt});
  const Status inDefaults = ports().defaults.change(changes);
  return inDefaults.isSuccess() ? status : inDefaults;
}

void storeFingerprint(const ZORValue& data) {
  const std::string* fingerprint = data[literals::kAnswerFingerprintKey.view()].text();
  if (fingerprint == nullptr) return;
  const std::int64_t expiryMs = integerOf(data[literals::kAnswerExpiryKey.view()]);
  const double now = ports().clock.secondsSince1970();
  const std::int64_t lifetimeSeconds = integerOf(data[literals::kAnswerLifetimeKey.view()]);

  // If this fails, the next process fetches the fingerprint again.
  std::ignore = dfp_store_write(cacheKeys()[kFingerprint], *fingerprint);
  const double times[] = {static_cast<double>(expiryMs) / 1000.0,
                          static_cast<double>(lifetimeSeconds), now};
  std::vector<DefaultsPort::Change> changes;
  changes.push_back({cacheKeys()[kFingerprint], std::nullopt});
  if (!fingerprint->empty()) changes.front().value = *fingerprint;
  for (const CacheKey key : {kExpiry, kLifetime, kStoredAt}) {
    changes.push_back({cacheKeys()[key], shortestDecimal(times[key - kExpiry])});
  }
  std::ignore = ports().defaults.change(changes);
}

}  // namespace zor
