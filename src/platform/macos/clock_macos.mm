#include <CoreFoundation/CoreFoundation.h>

#include "platform/macos/macos_ports.h"

namespace zor {
namespace {

class MacClock final : public ClockPort {
 public:
  double secondsSince1970() override {
    return CFAbsoluteTimeGetCurrent() + kCFAbsoluteTimeIntervalSince1970;
  }
};

}  // namespace

ClockPort& macosClockPort() {
  static constinit MadeOnce<MacClock> port;
  return port.get();
}

}  // namespace zor
