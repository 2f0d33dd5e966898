#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

// The platform reads the bundle once and keeps it.
class MacBundle final : public BundlePort {
 public:
  std::optional<std::string> bundleIdentifier() override {
    noteProbeSource("main bundle");
    if (const auto* name = applicationName()) return name->identifier;
    @autoreleasepool {
      return textFromString(NSBundle.mainBundle.bundleIdentifier);
    }
  }

  std::optional<ZORValue> infoValue(const std::string& key) override {
    noteProbeSource("main bundle");
    if (const auto* name = applicationName()) return infoOfNamedApplication(*name, key);
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name == nil) return std::nullopt;
      return valueFromObject(NSBundle.mainBundle.infoDictionary[name]);
    }
  }
};

}  // namespace

BundlePort& macosBundlePort() {
  static constinit MadeOnce<MacBundle> port;
  return port.get();
}

}  // namespace zor
