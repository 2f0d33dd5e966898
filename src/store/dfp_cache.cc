#include "store/dfp_cache.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/text.h"

namespace zor {
namespace {

std::optional<ZORValue> defaultsValue(std::string_view slotPiece) {
  return ports().defaults.objectForKey(dfp_slot_key(slotPiece));
}

// Numbers and numeric texts alike; nullopt for other kinds.
std::optional<double> timeUnder(std::string_view slotPiece) {
  const auto value = defaultsValue(slotPiece);
  if (!value) return std::nullopt;
  if (const auto number = value->number()) return number;
  if (value->text() != nullptr) return doubleValue(*value->text());
  return std::nullopt;
}

// As timeUnder; an empty text is no time either.
std::optional<double> givenTimeUnder(std::string_view slotPiece) {
  const auto value = defaultsValue(slotPiece);
  if (value && value->text() != nullptr && value->text()->empty()) return std::nullopt;
  return timeUnder(slotPiece);
}

CacheTimes keptTimes() {
  return {timeUnder(literals::kExpirySlot.view()), givenTimeUnder(literals::kLifetimeSlot.view()),
          givenTimeUnder(literals::kStoredAtSlot.view())};
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

void keepTime(std::string_view slotPiece, double seconds) {
  dfp_defaults_set(dfp_slot_key(slotPiece), shortestDecimal(seconds));
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

CacheState cacheState() {
  return {cachedFingerprint().has_value(), is_dfp_expired(), keptTimes(), storeFilePath()};
}

void dfp_defaults_set(const std::string& slotKey, const std::optional<std::string>& value) {
  if (value && !value->empty()) {
    ports().defaults.setObject(slotKey, *value);
  } else {
    ports().defaults.removeObject(slotKey);
  }
}

std::optional<std::string> cachedFingerprint() {
  const auto inDefaults = defaultsValue(literals::kFingerprintSlot.view());
  if (inDefaults && inDefaults->text() != nullptr && !inDefaults->text()->empty()) {
    return *inDefaults->text();
  }
  const auto inFile = dfp_store_read(dfp_slot_key(literals::kFingerprintSlot.view()));
  return inFile && !inFile->empty() ? inFile : std::nullopt;
}

bool is_dfp_expired() { return isExpired(keptTimes(), ports().clock.secondsSince1970()); }

void clear_dfp_cache() {
  dfp_store_write(dfp_slot_key(literals::kFingerprintSlot.view()), std::nullopt);
  for (const std::string_view slotPiece :
       {literals::kFingerprintSlot.view(), literals::kExpirySlot.view(),
        literals::kLifetimeSlot.view(), literals::kStoredAtSlot.view()}) {
    ports().defaults.removeObject(dfp_slot_key(slotPiece));
  }
}

void storeFingerprint(const ZORValue& data) {
  const std::string* fingerprint = data[literals::kAnswerFingerprintKey.view()].text();
  if (fingerprint == nullptr) return;
  const std::int64_t expiryMs = integerOf(data[literals::kAnswerExpiryKey.view()]);
  const double now = ports().clock.secondsSince1970();
  const std::int64_t lifetimeSeconds = integerOf(data[literals::kAnswerLifetimeKey.view()]);

  const std::string slotKey = dfp_slot_key(literals::kFingerprintSlot.view());
  dfp_store_write(slotKey, *fingerprint);
  dfp_defaults_set(slotKey, *fingerprint);
  keepTime(literals::kExpirySlot.view(), static_cast<double>(expiryMs) / 1000.0);
  keepTime(literals::kLifetimeSlot.view(), static_cast<double>(lifetimeSeconds));
  keepTime(literals::kStoredAtSlot.view(), now);
}

}  // namespace zor
