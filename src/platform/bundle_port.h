// Who the host application is.
#ifndef ZOR_PLATFORM_BUNDLE_PORT_H_
#define ZOR_PLATFORM_BUNDLE_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

// The main bundle, read once when the library is loaded. Callable from any thread.
class BundlePort {
 public:
  virtual ~BundlePort() = default;

  // nullopt: a host without a bundle.
  virtual std::optional<std::string> bundleIdentifier() = 0;

  // The value under `key` in the info dictionary, a text in practice; nullopt if there is none.
  virtual std::optional<ZORValue> infoValue(const std::string& key) = 0;
};

// How a host names its application at run time if the main bundle is not its own, but an
// interpreter's or that of the program that loaded a plug-in. Neither text is empty.
struct ApplicationName {
  std::string identifier;
  std::string version;
};

// Takes the place of the main bundle's identifier and versions for the rest of the process. False:
// the application already has another name, values are already kept under the main bundle's name,
// or a text is empty, longer than 200 bytes, not valid UTF-8, or has a NUL. Callable from any
// thread.
bool nameApplication(const std::string& identifier, const std::string& version);

// The name in force, or null. For the backends' ports.
const ApplicationName* applicationName();
// The same, for code that keeps values under the name: from now on it cannot be changed.
const ApplicationName* fixedApplicationName();
// What a named application's info dictionary holds under `key`.
std::optional<ZORValue> infoOfNamedApplication(const ApplicationName& name, const std::string& key);

// Undoes nameApplication() and fixedApplicationName() at the end of a scope; for tests.
class ScopedApplicationName {
 public:
  ScopedApplicationName();
  ~ScopedApplicationName();
  ScopedApplicationName(const ScopedApplicationName&) = delete;
  ScopedApplicationName& operator=(const ScopedApplicationName&) = delete;

 private:
  const ApplicationName* const _previous;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_BUNDLE_PORT_H_
