#import <Foundation/Foundation.h>

#include "platform/log.h"
#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The standard defaults keep themselves on disk, and other processes' changes apart from ours. They
// answer from memory, so that nothing is ever unreadable, and hand changes over one by one.
class MacDefaults final : public DefaultsPort {
 public:
  Reading<Values> read(const std::vector<std::string>& keys) override {
    @autoreleasepool {
      Values values;
      for (const std::string& key : keys) {
        NSString* name = foundationString(key);
        id object = name != nil ? [NSUserDefaults.standardUserDefaults objectForKey:name] : nil;
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
  static constexpr const char* kFailure = "cannot keep a value of the user defaults";
  static constexpr const char* kNotUtf8 = "it is not valid UTF-8";

  static bool set(const std::string& key, const ZORValue& value) {
    @autoreleasepool {
      NSString* name = foundationString(key);
      id object = objectFromValue(value);
      if (name == nil || object == nil) return false;
      [NSUserDefaults.standardUserDefaults setObject:object forKey:name];
      return true;
    }
  }

  static bool remove(const std::string& key) {
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name == nil) return false;
      [NSUserDefaults.standardUserDefaults removeObjectForKey:name];
      return true;
    }
  }
};

}  // namespace

DefaultsPort& macosDefaultsPort() {
  static auto& port = *new MacDefaults;
  return port;
}

}  // namespace zor
