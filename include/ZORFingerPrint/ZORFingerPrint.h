// The device fingerprint that the service issued for this machine: the one header a host needs.
//
//   zor::ZORFingerPrint::sharedInstance()->getFingerprint(
//       [](bool success, const zor::ZORFingerprintError& error, const std::string& fingerprint) {
//         ...
//       });
//
// Only std::bad_alloc is thrown across this interface, and only by functions that return a new
// object or value; getFingerprint(), getEnvInfo() and clearFingerprintCache() throw nothing at all.
// After a fork the child may use it afresh; callbacks that waited in the parent stay with the
// parent. A child that is forked in a callback must not return from it: it would continue on a
// thread of the library.
#ifndef ZORFINGERPRINT_ZORFINGERPRINT_H_
#define ZORFINGERPRINT_ZORFINGERPRINT_H_

#include <ZORFingerPrint/ZORConfig.h>
#include <ZORFingerPrint/ZORErrors.h>
#include <ZORFingerPrint/ZORJsonHelper.h>
#include <ZORFingerPrint/ZORLog.h>
#include <ZORFingerPrint/ZORPrivacy.h>
#include <ZORFingerPrint/ZORProbes.h>
#include <ZORFingerPrint/ZORTypes.h>
#include <ZORFingerPrint/ZORVersion.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

extern "C" {
// The version number that a framework carries.
ZOR_EXPORT extern const double ZORFingerPrintVersionNumber;
ZOR_EXPORT extern const unsigned char ZORFingerPrintVersionString[];
}

namespace zor {

// The outcome of getFingerprint(). On success `error` holds nothing, and `fingerprint` is not empty
// unless the service answered without one. On failure `fingerprint` is "", and `error` is what the
// transport reported, the service's whole answer if it refused, or nothing if its answer could not
// be read.
using ZORFingerprintCallback = std::function<void(bool success, const ZORFingerprintError& error,
                                                  const std::string& fingerprint)>;

class ZOR_EXPORT ZORFingerPrint final {
  struct Private {
    explicit Private() = default;
  };

 public:
  // The code in ZORError when the environment report could not be made.
  static constexpr std::int64_t kNoReportCode = ZOR_FINGERPRINT_ERROR_NO_REPORT;

  // Selector: sharedInstance
  // The instance of this process, made at the first call and never released. Never null.
  static std::shared_ptr<ZORFingerPrint> sharedInstance();

  // Selector: init
  // Another instance, with requests of its own and the same cache. When it is released, a request
  // under way ends without a call of its callbacks.
  static std::shared_ptr<ZORFingerPrint> create();
  explicit ZORFingerPrint(Private);  // For the two above only.
  ~ZORFingerPrint();
  ZORFingerPrint(const ZORFingerPrint&) = delete;
  ZORFingerPrint& operator=(const ZORFingerPrint&) = delete;

  // Selector: setWithConfig:
  // Keeps the config's store path in the user defaults, for this run and later ones. A path that is
  // absent or empty leaves an earlier one in force. The other settings hold for this process.
  static void setWithConfig(const ZORConfig& config);

  // Names the application whose values the library keeps, in place of the main bundle, for the rest
  // of the process: for interpreters and plug-ins, whose main bundle is another program's. To be
  // called before any other function of the library and while no other thread uses it. False, and
  // nothing changes: the library is in use already, the application has another name already, or a
  // text is empty, longer than 200 bytes, not valid UTF-8 or has a NUL inside. Nothing is thrown.
  static bool setApplication(const std::string& identifier, const std::string& version);

  // Keeps what the person at the machine answered, in the user defaults: it applies to every
  // process of this application and to later runs. `unknown` takes the answer back.
  //
  // Without permission (consent is required and was not given, or was refused, required or not)
  // nothing is collected, kept or sent and no thread is started: getFingerprint() fails with the
  // code ZOR_FINGERPRINT_ERROR_NO_CONSENT, getEnvInfo() gives nothing, identifier() is "". The
  // host's own settings are still kept, and the functions of ZORProbes.h still answer the host.
  //
  // A refusal erases what was kept, as eraseLocalData() does, except for the refusal itself. A
  // request under way takes no further step, ends with the same code, and nothing of it is kept.
  // The error: not everything could be erased; it says what, and why. The answer applies even then.
  // Threads: callable from any, also from a callback.
  static std::optional<ZORError> setConsent(ZORConsent consent);
  static ZORConsent consent();
  // Whether the library may collect, keep and send now.
  static bool isPermitted();

  // Erases what the library keeps for this application on this machine, and returns one item for
  // each thing that can be kept. The store file and the failure records are shared by the user's
  // applications and are removed as a whole. The store path of the config stays, and so do empty
  // lock files. A call that was cut short is finished by the next one. What is under way during the
  // call may be kept afterwards, and the next request keeps things again: to prevent that, refuse
  // consent. `dryRun`: removes nothing and says what would be removed.
  // Threads: callable from any; waits for other processes that hold a lock, a second or so.
  static std::vector<ZORErasedItem> eraseLocalData(bool dryRun = false);

  // The names of the entries of a report, those inside its sealed block last. They never change.
  static std::vector<std::string> entryNames();

  // Opts this application out of the identifier that all of the user's applications share, or in
  // again. Opted out, it reports a fixed placeholder; other applications are not touched. Kept in
  // the user defaults. The error: the choice could not be kept, or there is no consent for making
  // the identifier that is opted out of.
  static std::optional<ZORError> setSharedIdentifierOptOut(bool optOut);
  static bool isSharedIdentifierOptedOut();

  // Selectors: PLATFORM, VERSION
  // The platform label and the version that go with every report.
  static std::string PLATFORM();
  static std::string VERSION();

  // Selector: identifier
  // A random identifier of this installation, kept between runs; the same for the whole process
  // until it is erased. "" without permission, see setConsent().
  static std::string identifier();

  // Selector: getFingerprint:
  // The fingerprint if it is cached and valid. Otherwise "", and a request to the service is
  // started, which all callers until its end share.
  //
  // Callback: may be empty. Called exactly once, unless this instance is released first: for a
  //           cached fingerprint before this returns, on the calling thread; else when the request
  //           ends, on a thread of the library, in the order of the calls. No lock is held, so it
  //           may call anything here. What it throws ends there.
  // Threads:  callable from any, also from a callback.
  std::string getFingerprint(const ZORFingerprintCallback& callback = {});

  // More about the failure that the callbacks of the latest request received; within a callback,
  // about its own. `reason` is ZOR_FINGERPRINT_REASON_NONE when that request succeeded or none has
  // ended. Callable from any thread; throws nothing.
  ZORFailure lastFailure() const;

  // Selector: getEnvInfo
  // The environment report as it is sent: base64 of a JSON dictionary that is collected now.
  // nullopt when it cannot be written as JSON.
  std::optional<std::string> getEnvInfo();

  // Selector: clearFingerprintCache
  // Forgets the cached fingerprint; the installation identifier stays.
  void clearFingerprintCache();

 private:
  class Implementation;

  const std::shared_ptr<Implementation> _implementation;
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORFINGERPRINT_H_
