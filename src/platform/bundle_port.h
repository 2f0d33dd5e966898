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

  // What the info dictionary holds under `key`, a text in practice; nullopt when there is nothing.
  virtual std::optional<ZORValue> infoValue(const std::string& key) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_BUNDLE_PORT_H_
