#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The classes that an archive may hold. Any process of the user can write to the pasteboards, so no
// other class is decoded; an archive that contains one counts as damaged.
NSSet<Class>* archivedClasses() {
  return [NSSet setWithArray:@[
    NSDictionary.class, NSArray.class, NSString.class, NSNumber.class, NSDate.class, NSData.class,
    NSNull.class
  ]];
}

class MacArchive final : public ArchivePort {
 public:
  std::optional<Data> archivedData(const ZORValue& dictionary) override {
    @autoreleasepool {
      id object = objectFromValue(dictionary);
      if (object == nil) return std::nullopt;
      NSData* archive = [NSKeyedArchiver archivedDataWithRootObject:object
                                              requiringSecureCoding:YES
                                                              error:nil];
      if (archive == nil) return std::nullopt;
      return bytesFromData(archive);
    }
  }

  std::optional<ZORValue> unarchivedDictionary(const Data& data) override {
    @autoreleasepool {
      // The platform refuses damaged archives with an exception or an error.
      @try {
        id object = [NSKeyedUnarchiver unarchivedObjectOfClasses:archivedClasses()
                                                        fromData:foundationData(data)
                                                           error:nil];
        auto value = valueFromObject(object);
        return value.has_value() && value->isDictionary() ? std::move(value) : std::nullopt;
      } @catch (NSException*) {
        return std::nullopt;
      }
    }
  }
};

}  // namespace

ArchivePort& macosArchivePort() {
  static constinit MadeOnce<MacArchive> port;
  return port.get();
}

}  // namespace zor
