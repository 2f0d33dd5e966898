// What a host may set.
#ifndef ZORFINGERPRINT_ZORCONFIG_H_
#define ZORFINGERPRINT_ZORCONFIG_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <utility>

namespace zor {

class ZOR_EXPORT ZORConfig {
 public:
  // An absolute path of a folder that takes the place of the default one for the store file; it is
  // made when it is needed. What an earlier folder holds is not moved. Not checked: a relative path
  // follows the working directory at each use. Absent, empty or a null pointer: no change.
  const std::optional<std::string>& storePath() const { return _storePath; }
  void setStorePath(std::optional<std::string> path) { _storePath = std::move(path); }
  void setStorePath(const char* path) {
    _storePath = path != nullptr ? std::optional<std::string>(path) : std::nullopt;
  }

  // Whether the person at the machine has to agree before the library does anything; see
  // ZORFingerPrint::setConsent(). Holds for this process: to be set at every start, before anything
  // else. `false` takes back what the host required, never what the operator's profile requires.
  // Absent: no change.
  const std::optional<bool>& consentRequired() const { return _consentRequired; }
  void setConsentRequired(bool required) { _consentRequired = required; }

 private:
  std::optional<std::string> _storePath;
  std::optional<bool> _consentRequired;
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORCONFIG_H_
