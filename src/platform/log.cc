#include "platform/log.h"

#include <memory>
#include <utility>

#include "platform/ports.h"
#include "support/guarded_call.h"
#include "support/process_generation.h"

namespace zor {
namespace {

InheritedPointer<LogHandler>& handlerInUse() {
  static constinit MadeOnce<InheritedPointer<LogHandler>> pointer;
  return pointer.get();
}

// The outermost deferral of this thread.
thread_local constinit LogDeferral* deferral = nullptr;

}  // namespace

LogDeferral::LogDeferral() {
  if (deferral == nullptr) deferral = this;
}

LogDeferral::~LogDeferral() {
  if (deferral != this) return;
  deferral = nullptr;
  for (const std::string& line : _lines) callIgnoringExceptions(logLine, line);
}

void logLine(const std::string& line) {
  if (deferral != nullptr) {
    deferral->_lines.push_back(line);
    return;
  }
  const auto handler = handlerInUse().get();
  if (handler == nullptr) {
    ports().log.writeLine(line);
    return;
  }
  callIgnoringExceptions(*handler, line);
}

void setLogHandler(LogHandler handler) {
  handlerInUse().set(handler ? std::make_shared<const LogHandler>(std::move(handler)) : nullptr);
}

}  // namespace zor
