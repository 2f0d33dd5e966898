#import <Foundation/Foundation.h>
#include <stdlib.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

class MacRandom final : public RandomPort {
 public:
  std::uint32_t randomNumber() override { return ::arc4random(); }

  std::string uuidString() override {
    @autoreleasepool {
      return textFromString([NSUUID UUID].UUIDString).value_or("");
    }
  }
};

}  // namespace

RandomPort& macosRandomPort() {
  static constinit MadeOnce<MacRandom> port;
  return port.get();
}

}  // namespace zor
