#include <errno.h>  // program_invocation_short_name
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <tuple>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// "Nov 22 20:31:05 zorfp[1234]: line", as the system logger prints it, on standard error.
class LinuxLog final : public LogPort {
 public:
  void writeLine(const std::string& line) override {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char stamp[64];  // Not strftime: month names would follow the host's locale.
    std::snprintf(stamp, sizeof stamp, "%s %2d %02d:%02d:%02d ", kMonths[local.tm_mon],
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    const std::string text = stamp + std::string(program_invocation_short_name) + "[" +
                             std::to_string(::getpid()) + "]: " + line + "\n";
    // One write, so that lines of several threads stay whole. A closed standard error loses them.
    std::ignore = ::write(STDERR_FILENO, text.data(), text.size());
  }
};

}  // namespace

LogPort& linuxLogPort() {
  static auto& port = *new LinuxLog;
  return port;
}

}  // namespace zor
