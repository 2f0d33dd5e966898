#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"
#include "support/json_codec.h"

namespace zor {
namespace {

// `value` by way of its JSON text; nullopt for nil and for kinds that JSON has not (dates, data).
std::optional<Json> jsonFromObject(id value) {
  if (value == nil) return std::nullopt;
  NSArray* wrapped = @[ value ];  // A text alone is no JSON document to the platform's writer.
  if (![NSJSONSerialization isValidJSONObject:wrapped]) return std::nullopt;
  NSData* text = [NSJSONSerialization dataWithJSONObject:wrapped options:0 error:nil];
  if (text == nil) return std::nullopt;
  const auto parsed = parseJson({static_cast<const char*>(text.bytes), text.length});
  if (!parsed.has_value()) return std::nullopt;
  return parsed->at(0);
}

// The platform reads the bundle once and keeps it.
class MacBundle final : public BundlePort {
 public:
  std::optional<std::string> bundleIdentifier() override {
    noteProbeSource("main bundle");
    @autoreleasepool {
      return textFromString(NSBundle.mainBundle.bundleIdentifier);
    }
  }

  std::optional<Json> infoValue(const std::string& key) override {
    noteProbeSource("main bundle");
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name == nil) return std::nullopt;
      return jsonFromObject(NSBundle.mainBundle.infoDictionary[name]);
    }
  }
};

}  // namespace

BundlePort& macosBundlePort() {
  static auto& port = *new MacBundle;
  return port;
}

}  // namespace zor
