// The fingerprint that the service issued, and the times that decide when it must be fetched again.
//
// The four values in the user defaults change in one step, the store file as dfp_store.h says.
// Everything here is callable from any thread and throws nothing.
#ifndef ZOR_STORE_DFP_CACHE_H_
#define ZOR_STORE_DFP_CACHE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/defaults_port.h"
#include "store/dfp_store.h"

namespace zor {

// The times kept beside a fingerprint, in seconds; absent where nothing usable is kept.
struct CacheTimes {
  std::optional<double> expiry;    // Since 1970.
  std::optional<double> lifetime;  // Counted from `storedAt`.
  std::optional<double> storedAt;  // Since 1970.
};

// Whether a fingerprint with these times may no longer be used at `now`. Always true without an
// expiry. If there are both a lifetime and a store time, they win over the absolute expiry; a store
// time in the future (the clock went back) counts as expired. At the very moment of expiry it is
// still valid.
bool isExpired(const CacheTimes& times, double now);

// When a fingerprint with these times ends, by the same rule, in seconds since 1970. nullopt: it is
// expired without an expiry, or its times are not numbers.
std::optional<double> endOfValidity(const CacheTimes& times);

// What is kept now; for diagnosis.
struct CacheState {
  bool fingerprintPresent = false;
  bool expired = true;
  CacheTimes times;
  std::optional<std::string> storeFilePath;
  Status status;  // Not success: what is kept cannot be read now.
};
CacheState cacheState() ZOR_EXCLUDES(initPthreadMutex());

// Stores a text with content in the user defaults; anything else removes what is there.
Status dfp_defaults_set(const std::string& slotKey, const std::optional<std::string>& value);

// The keys in the user defaults: fingerprint, expiry, lifetime, time of storing.
const std::vector<std::string>& cacheKeys();

// What one look found. It costs one look at the user defaults, and at the store file only where
// the times are valid and the defaults hold no fingerprint.
struct CacheLook {
  std::optional<std::string> fingerprint;  // Never empty; only a text is a fingerprint.
  bool expired = true;                     // isExpired() for the times, which were read before now.
  CacheTimes times;
  DefaultsPort::Values values;  // Under cacheKeys().
  Status status;                // Not success: it cannot be read now, and must not be cleared.
};
CacheLook lookAtCache() ZOR_EXCLUDES(initPthreadMutex());

// Clears what `look` found from the cache; a fingerprint that was stored since then stays.
Status clearCacheSeen(const CacheLook& look) ZOR_EXCLUDES(initPthreadMutex());

// The fingerprint kept in the user defaults, else the one in the store file; never empty. nullopt
// also where neither can be read.
std::optional<std::string> cachedFingerprint() ZOR_EXCLUDES(initPthreadMutex());

// isExpired() for the kept times and the time now; also true where they cannot be read.
bool is_dfp_expired();

// Forgets the fingerprint and its times; the installation identifier stays. Success: on the disk.
Status clear_dfp_cache() ZOR_EXCLUDES(initPthreadMutex());

// Keeps the fingerprint of the service's data object: expiry in milliseconds since 1970, lifetime
// in seconds, numbers or numeric texts. Does nothing if the fingerprint is not a text.
void storeFingerprint(const ZORValue& data) ZOR_EXCLUDES(initPthreadMutex());

}  // namespace zor

#endif  // ZOR_STORE_DFP_CACHE_H_
