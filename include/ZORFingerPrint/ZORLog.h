// The library's log lines, for hosts with a log of their own.
#ifndef ZORFINGERPRINT_ZORLOG_H_
#define ZORFINGERPRINT_ZORLOG_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <functional>
#include <string>

namespace zor {

using ZORLogHandler = std::function<void(const std::string& line)>;

// Sends the library's lines to `handler` instead of the system log; an empty handler restores the
// system log. Lines hold no hardware values, keys, fingerprints or addresses. Callable from any
// thread; the handler runs on whichever thread logs, possibly on several at once, with no lock of
// the library held, and may be called once more by a thread that was already logging.
ZOR_EXPORT void ZORSetLogHandler(ZORLogHandler handler);

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORLOG_H_
