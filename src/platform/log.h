// The library's log lines.
#ifndef ZOR_PLATFORM_LOG_H_
#define ZOR_PLATFORM_LOG_H_

#include <functional>
#include <string>
#include <vector>

namespace zor {

using LogHandler = std::function<void(const std::string& line)>;

// Sends `line` to the host's handler if one is set, else to the system log. Callable from any
// thread; a handler that throws is ignored.
void logLine(const std::string& line);

// Replaces the system log; an empty handler restores it. Callable from any thread; the handler is
// called on whichever thread logs, possibly on several at once, and may be called once more by a
// thread that was already logging.
void setLogHandler(LogHandler handler);

// Holds back the calling thread's lines while it lives and sends them at its end. Declared before a
// MutexLock, so that the host's handler, which may call the library, never runs under that lock.
// Scopes nest; the outermost one sends.
class LogDeferral {
 public:
  LogDeferral();
  ~LogDeferral();
  LogDeferral(const LogDeferral&) = delete;
  LogDeferral& operator=(const LogDeferral&) = delete;

 private:
  friend void logLine(const std::string& line);

  std::vector<std::string> _lines;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LOG_H_
