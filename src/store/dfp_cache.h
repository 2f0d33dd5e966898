// The fingerprint that the service issued, and the times that decide when it must be fetched again.
//
// The user defaults are written without a lock, the store file as dfp_store.h says. Everything here
// is callable from any thread and throws nothing.
#ifndef ZOR_STORE_DFP_CACHE_H_
#define ZOR_STORE_DFP_CACHE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

#include "store/dfp_store.h"

namespace zor {

// The times kept beside a fingerprint, in seconds; absent where nothing usable is kept.
struct CacheTimes {
  std::optional<double> expiry;    // Since 1970.
  std::optional<double> lifetime;  // Counted from `storedAt`.
  std::optional<double> storedAt;  // Since 1970.
};

// Whether a fingerprint with these times may no longer be used at `now`. Without an expiry always.
// Lifetime and store time, where both are there, win over the absolute expiry; a store time in the
// future (the clock went back) counts as expired. At the very moment of expiry it is still valid.
bool isExpired(const CacheTimes& times, double now);

// What is kept now; for diagnosis.
struct CacheState {
  bool fingerprintPresent = false;
  bool expired = true;
  CacheTimes times;
  std::optional<std::string> storeFilePath;
};
CacheState cacheState() ZOR_EXCLUDES(initPthreadMutex());

// Stores a text with content in the user defaults; anything else removes what is there.
void dfp_defaults_set(const std::string& slotKey, const std::optional<std::string>& value);

// The fingerprint kept in the user defaults, else the one in the store file; never empty. Only a
// text is a fingerprint.
std::optional<std::string> cachedFingerprint() ZOR_EXCLUDES(initPthreadMutex());

// isExpired() for the kept times and the time now.
bool is_dfp_expired();

// Forgets the fingerprint and its times; the installation identifier stays.
void clear_dfp_cache() ZOR_EXCLUDES(initPthreadMutex());

// Keeps the fingerprint of the service's data object: expiry in milliseconds since 1970, lifetime
// in seconds, numbers or numeric texts. Does nothing when the fingerprint is no text.
void storeFingerprint(const ZORValue& data) ZOR_EXCLUDES(initPthreadMutex());

}  // namespace zor

#endif  // ZOR_STORE_DFP_CACHE_H_
