#import <Foundation/Foundation.h>

#include "literals/labels.h"
#include "platform/bundle_port.h"
#include "platform/log.h"
#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The standard defaults handle storage and other processes' changes themselves. They answer from
// memory, so nothing is ever unreadable, and they pass changes on one by one.
class MacDefaults final : public DefaultsPort {
 public:
  Reading<Values> read(const std::vector<std::string>& keys) override {
    @autoreleasepool {
      Values values;
      for (const std::string& key : keys) {
        NSString* name = nameOf(key);
        id object = name != nil ? [standardDefaults() objectForKey:name] : nil;
        values.push_back(valueFromObject(object));
      }
      return values;
    }
  }

  Status change(const std::vector<Change>& changes) override {
    Status status;
    for (const Change& each : changes) {
      const bool kept = each.value ? set(each.key, *each.value) : remove(each.key);
      if (!kept) status = Status::unusable(kFailure, kNotUtf8);
    }
    if (!status.isSuccess()) logLine("zorfingerprint: " + status.sentence());
    return status;
  }

  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override {
    const auto now = read(keys);
    if (!now || *now != seen) return {};
    for (const std::string& key : keys) remove(key);
    return {};
  }

 private:
  // The domain belongs to the application; libraries of several operators in it use different keys.
  static NSString* nameOf(const std::string& key) { return foundationString(nameInProfile(key)); }

  // The defaults of the application as its host named it, else of the main bundle.
  static NSUserDefaults* standardDefaults() {
    static NSUserDefaults* defaults = [] {
      const ApplicationName* name = fixedApplicationName();
      NSString* domain = name != nullptr ? foundationString(name->identifier) : nil;
      NSUserDefaults* named =
          domain != nil ? [[NSUserDefaults alloc] initWithSuiteName:domain] : nil;
      return named != nil ? named : NSUserDefaults.standardUserDefaults;
    }();
    return defaults;
  }

  static constexpr const char* kFailure = "cannot keep a value of the user defaults";
  static constexpr const char* kNotUtf8 = "it is not valid UTF-8";

  static bool set(const std::string& key, const ZORValue& value) {
    @autoreleasepool {
      NSString* name = nameOf(key);
      id object = objectFromValue(value);
      if (name == nil || object == nil) return false;
      [standardDefaults() setObject:object forKey:name];
      return true;
    }
  }

  static bool remove(const std::string& key) {
    @autoreleasepool {
      NSString* name = nameOf(key);
      if (name == nil) return false;
      [standardDefaults() removeObjectForKey:name];
      return true;
    }
  }
};

}  // namespace

DefaultsPort& macosDefaultsPort() {
  static constinit MadeOnce<MacDefaults> port;
  return port.get();
}

}  // namespace zor
