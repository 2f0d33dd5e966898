#include <errno.h>  // program_invocation_short_name
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// Writes without the signals that would end the host where standard error leads to a pipe without a
// reader or to a file that may not grow.
void writeWithoutSignal(int descriptor, const std::string& text) {
  sigset_t pending;
  sigset_t ours;
  sigset_t before;
  ::sigpending(&pending);
  sigemptyset(&ours);
  for (const int number : {SIGPIPE, SIGXFSZ}) {
    if (sigismember(&pending, number) == 0) sigaddset(&ours, number);
  }
  ::pthread_sigmask(SIG_BLOCK, &ours, &before);
  const timespec atOnce{};
  if (::write(descriptor, text.data(), text.size()) < 0 && (errno == EPIPE || errno == EFBIG)) {
    ::sigtimedwait(&ours, nullptr, &atOnce);
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

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
    writeWithoutSignal(STDERR_FILENO, text);
  }
};

}  // namespace

LogPort& linuxLogPort() {
  static constinit MadeOnce<LinuxLog> port;
  return port.get();
}

}  // namespace zor
