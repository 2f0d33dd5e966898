#import <Foundation/Foundation.h>

#include "platform/log.h"
#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The standard defaults keep themselves on disk, and other processes' changes apart from ours.
class MacDefaults final : public DefaultsPort {
 public:
  std::optional<ZORValue> objectForKey(const std::string& key) override {
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name == nil) return std::nullopt;
      return valueFromObject([NSUserDefaults.standardUserDefaults objectForKey:name]);
    }
  }

  void setObject(const std::string& key, const ZORValue& value) override {
    @autoreleasepool {
      NSString* name = foundationString(key);
      id object = objectFromValue(value);
      if (name == nil || object == nil) {
        logLine("zorfingerprint: a value of the user defaults is no UTF-8 and is not kept");
        return;
      }
      [NSUserDefaults.standardUserDefaults setObject:object forKey:name];
    }
  }

  void removeObject(const std::string& key) override {
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name != nil) [NSUserDefaults.standardUserDefaults removeObjectForKey:name];
    }
  }
};

}  // namespace

DefaultsPort& macosDefaultsPort() {
  static auto& port = *new MacDefaults;
  return port;
}

}  // namespace zor
