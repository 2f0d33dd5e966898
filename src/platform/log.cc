#include "platform/log.h"

#include <memory>
#include <utility>

#include "platform/ports.h"
#include "support/fork_hooks.h"
#include "support/guarded_call.h"
#include "support/mutex.h"

namespace zor {
namespace {

struct HandlerSlot {
  HandlerSlot() { holdOverFork(ForkRank::portState, mutex); }

  // Guards `handler`. Nothing is called under it.
  Mutex mutex;
  std::shared_ptr<const LogHandler> handler ZOR_GUARDED_BY(mutex);
};

HandlerSlot& slot() {
  static auto& instance = *new HandlerSlot;
  return instance;
}

std::shared_ptr<const LogHandler> currentHandler() {
  const MutexLock lock(slot().mutex);
  return slot().handler;
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
  for (const std::string& line : _lines) logLine(line);
}

void logLine(const std::string& line) {
  if (deferral != nullptr) {
    deferral->_lines.push_back(line);
    return;
  }
  const auto handler = currentHandler();
  if (handler == nullptr) {
    ports().log.writeLine(line);
    return;
  }
  callIgnoringExceptions(*handler, line);
}

void setLogHandler(LogHandler handler) {
  auto replacement = handler ? std::make_shared<const LogHandler>(std::move(handler)) : nullptr;
  const MutexLock lock(slot().mutex);
  slot().handler.swap(replacement);
}

}  // namespace zor
