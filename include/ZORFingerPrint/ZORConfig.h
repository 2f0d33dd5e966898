// What a host may set.
#ifndef ZORFINGERPRINT_ZORCONFIG_H_
#define ZORFINGERPRINT_ZORCONFIG_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor {

class ZOR_EXPORT ZORConfig {
 public:
  // An absolute path of a folder that replaces the default one for the store file; it is created
  // when needed. The content of an earlier folder is not moved. The path is not checked: a relative
  // one follows the working directory at each use. Absent, empty or a null pointer: no change.
  const std::optional<std::string>& storePath() const { return _storePath; }
  void setStorePath(std::optional<std::string> path) { _storePath = std::move(path); }
  void setStorePath(const char* path) {
    _storePath = path != nullptr ? std::optional<std::string>(path) : std::nullopt;
  }

  // Whether the person at the machine has to agree before the library does anything; see
  // ZORFingerPrint::setConsent(). Holds for this process: to be set at every start, before anything
  // else. `false` cancels the host's requirement, never that of the operator's profile.
  // Absent: no change.
  const std::optional<bool>& consentRequired() const { return _consentRequired; }
  void setConsentRequired(bool required) { _consentRequired = required; }

  // The time for a request over all its routes and repeats, in seconds from the call that starts
  // it; callers that join it later share what is left. When it has passed, the callback gets the
  // error ZOR_FINGERPRINT_ERROR_TOTAL_TIME, and nothing more is sent. 0, a negative number and NaN
  // mean no limit, which is the default; a request then takes some minutes if no route answers.
  // Holds for requests that start later in this process. Absent: no change.
  const std::optional<double>& totalTimeoutSeconds() const { return _totalTimeoutSeconds; }
  void setTotalTimeoutSeconds(double seconds) { _totalTimeoutSeconds = seconds; }

  // Leaves entries out of the report, by the names of ZORFingerPrint::entryNames(): their probes do
  // not run, and the report has null in their place. "sealed-block" leaves out everything in that
  // block. Holds for this process. An empty list withholds nothing any more. Absent: no change. The
  // error: a name is unknown, and nothing is changed; it suggests the nearest known name.
  std::optional<ZORError> setWithheldEntries(const std::vector<std::string>& names);
  const std::optional<std::vector<std::string>>& withheldEntries() const {
    return _withheldEntries;
  }

 private:
  std::optional<std::string> _storePath;
  std::optional<bool> _consentRequired;
  std::optional<double> _totalTimeoutSeconds;
  std::optional<std::vector<std::string>> _withheldEntries;
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORCONFIG_H_
