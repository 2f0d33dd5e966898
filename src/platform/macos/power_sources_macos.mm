#import <Foundation/Foundation.h>
#include <IOKit/ps/IOPowerSources.h>

#include <utility>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

std::optional<PowerSourceDescription> descriptionFromDictionary(NSDictionary* dictionary) {
  if (dictionary == nil) return std::nullopt;
  PowerSourceDescription description;
  for (NSString* key in dictionary) {
    const auto name = textFromString(key);
    auto value = registryValueFromObject(dictionary[key]);
    if (name.has_value() && value.has_value()) description.emplace(*name, *std::move(value));
  }
  return description;
}

class MacPowerSources final : public PowerSourcePort {
 public:
  // The list holds the machine's own batteries and supplies only; those of peripherals are in none.
  std::vector<std::optional<PowerSourceDescription>> sources() override {
    noteProbeSource("IOPowerSources");
    @autoreleasepool {
      std::vector<std::optional<PowerSourceDescription>> descriptions;
      // Kept to the end of the scope: the calls below borrow from it behind the compiler's back.
      NS_VALID_UNTIL_END_OF_SCOPE id information = CFBridgingRelease(IOPSCopyPowerSourcesInfo());
      if (information == nil) return descriptions;
      CFTypeRef blob = (__bridge CFTypeRef)information;
      NSArray* sources = CFBridgingRelease(IOPSCopyPowerSourcesList(blob));
      for (id source in sources) {
        // Borrowed from `information`.
        CFDictionaryRef dictionary =
            IOPSGetPowerSourceDescription(blob, (__bridge CFTypeRef)source);
        descriptions.push_back(descriptionFromDictionary((__bridge NSDictionary*)dictionary));
      }
      return descriptions;
    }
  }
};

}  // namespace

PowerSourcePort& macosPowerSourcePort() {
  static auto& port = *new MacPowerSources;
  return port;
}

}  // namespace zor
