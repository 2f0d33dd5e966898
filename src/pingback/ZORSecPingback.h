// The record of one failure of the library.
#ifndef ZOR_PINGBACK_ZORSECPINGBACK_H_
#define ZOR_PINGBACK_ZORSECPINGBACK_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace zor {

class BundlePort;

// An error as arguments of the formats in which failures are described.
struct ErrorTexts {
  std::optional<std::string> domain;
  std::string code;
  std::optional<std::string> description;
};

// Without an error the texts are absent and the code is 0.
ErrorTexts errorTexts(const std::optional<ZORError>& error);

// What every record says about this process. Null: there is no such value, or load() has not run.
// Written once, by load(), and read afterwards without a lock; the texts live as long as the
// process.
extern const std::string* _dfp_sdk;    // The name of the library.
extern const std::string* _dfp_s_v;    // Its version.
extern const std::string* _dfp_sys;    // The platform.
extern const std::string* _dfp_s_aid;  // The host's bundle identifier.
extern const std::string* _dfp_s_av;   // The host's version.

// One failure. Records never hold hardware values, nor may the description of an error.
// Threads: a record is not shared; the class methods are callable from any thread.
class ZORSecPingback {
 public:
  // Selector: load
  // Captures the five values above, the first time it is called. Runs when the library is loaded;
  // a later change of the main bundle is not seen.
  static void load();

  // Captures the application's two values again, once it has been named at run time. Not while
  // another thread uses the library.
  static void applicationWasNamed();

  // Selector: initWithError:errorType:errorDesc:
  // `error` is the class of the failure: 0 the fingerprint request, 1 the transport, 2 the upload
  // of the records. The record takes the fingerprint that is stored in the defaults now.
  ZORSecPingback(std::int64_t error, std::optional<std::string> type,
                 std::optional<std::string> desc);

  // The nine entries, built anew: texts, the absent ones "", and the class as an integer. Bytes
  // that are not valid UTF-8 show as U+FFFD. nullopt when one of the five values above is missing:
  // a record without its application is not written.
  std::optional<ZORValue> toDictionary() const;

  // Whether this process can write records: false where one of the five values is missing, in a
  // host without bundle information for instance.
  static bool canBeWritten();

  // Hands this record to the shared store; the write happens later, on the store's queue. The
  // store reports its own failures too, so this and the two below are defined beside it, in
  // ZORSecPingbackStore.cc: a record knows nothing of where it is kept.
  void send() const;
  // Selector: pingback:
  // As `record`'s send(); an absent record is ignored.
  static void pingback(const std::optional<ZORSecPingback>& record);
  // Selector: sendWithError:errorType:errorDesc:
  // Makes a record and sends it: the way in which every part of the library reports a failure.
  // Never fails and never waits for a file.
  static void sendWithError(std::int64_t error, const std::optional<std::string>& errorType,
                            const std::optional<std::string>& errorDesc);

  // The fingerprint, the class, the type (a fixed word) and the description (free text).
  const std::optional<std::string>& s_d() const { return _s_d; }
  void setS_d(std::optional<std::string> fingerprint) { _s_d = std::move(fingerprint); }
  std::int64_t s_e() const { return _s_e; }
  void setS_e(std::int64_t error) { _s_e = error; }
  const std::optional<std::string>& s_et() const { return _s_et; }
  void setS_et(std::optional<std::string> type) { _s_et = std::move(type); }
  const std::optional<std::string>& s_ed() const { return _s_ed; }
  void setS_ed(std::optional<std::string> desc) { _s_ed = std::move(desc); }

 private:
  std::optional<std::string> _s_d;
  std::int64_t _s_e = 0;
  std::optional<std::string> _s_et;
  std::optional<std::string> _s_ed;
};

// Replaces the five values for its lifetime by what `bundle` returns now. Not to be made or
// destroyed while other threads use the library; scopes nest.
class ScopedPingbackEnvironment {
 public:
  explicit ScopedPingbackEnvironment(BundlePort& bundle);
  ~ScopedPingbackEnvironment();
  ScopedPingbackEnvironment(const ScopedPingbackEnvironment&) = delete;
  ScopedPingbackEnvironment& operator=(const ScopedPingbackEnvironment&) = delete;

 private:
  const std::string* const _previous[5];
};

}  // namespace zor

#endif  // ZOR_PINGBACK_ZORSECPINGBACK_H_
