#include <errno.h>  // program_invocation_short_name
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// Writes without raising a signal, which would end the host if standard error is a pipe without a
// reader or a file that may not grow.
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

// The time in UTC, as in "2026-11-22T20:31:05Z". The C library's own conversions take a lock that
// stays held in the child of a fork.
std::string timestamp() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss<std::chrono::seconds> time(now - day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text;
}

// "2026-11-22T20:31:05Z zorfp[1234]: line" on standard error.
class LinuxLog final : public LogPort {
 public:
  void writeLine(const std::string& line) override {
    const std::string text = timestamp() + " " + program_invocation_short_name + "[" +
                             std::to_string(::getpid()) + "]: " + line + "\n";
    // One write, so that lines of several threads stay whole. They are lost if standard error is
    // closed.
    writeWithoutSignal(STDERR_FILENO, text);
  }
};

}  // namespace

LogPort& linuxLogPort() {
  static constinit MadeOnce<LinuxLog> port;
  return port.get();
}

}  // namespace zor
