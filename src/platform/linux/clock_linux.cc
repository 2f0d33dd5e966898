#include <ctime>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

class LinuxClock final : public ClockPort {
 public:
  double secondsSince1970() override {
    constexpr double kNanosecondsPerSecond = 1e9;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) +
           static_cast<double>(now.tv_nsec) / kNanosecondsPerSecond;
  }
};

}  // namespace

ClockPort& linuxClockPort() {
  static constinit MadeOnce<LinuxClock> port;
  return port.get();
}

}  // namespace zor
