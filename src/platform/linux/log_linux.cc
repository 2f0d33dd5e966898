#include <errno.h>  // program_invocation_short_name
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// Writes without the signal that ends a host whose standard error leads to a pipe with no reader.
void writeWithoutSignal(int descriptor, const std::string& text) {
  sigset_t pipeSignal;
  sigset_t pending;
  sigset_t blocked;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  ::sigpending(&pending);
  ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &blocked);
  const bool broken = ::write(descriptor, text.data(), text.size()) < 0 && errno == EPIPE;
  const bool isOurs = broken && sigismember(&pending, SIGPIPE) == 0;
  const timespec atOnce{};
  if (isOurs) ::sigtimedwait(&pipeSignal, nullptr, &atOnce);
  ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
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
  static auto& port = *new LinuxLog;
  return port;
}

}  // namespace zor
