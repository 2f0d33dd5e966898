#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "support/text.h"

namespace zor {
namespace {

class MacLog final : public LogPort {
 public:
  void writeLine(const std::string& line) override {
    @autoreleasepool {
      NSLog(@"%@", foundationString(wellFormedUtf8(line)));
    }
  }
};

}  // namespace

LogPort& macosLogPort() {
  static constinit MadeOnce<MacLog> port;
  return port.get();
}

}  // namespace zor
