#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

class MacLog final : public LogPort {
 public:
  void writeLine(const std::string& line) override {
    @autoreleasepool {
      NSLog(@"%@", foundationString(line));
    }
  }
};

}  // namespace

LogPort& macosLogPort() {
  static auto& port = *new MacLog;
  return port;
}

}  // namespace zor
