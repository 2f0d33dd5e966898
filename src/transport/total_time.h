// Bounds a request over all its routes.
#ifndef ZOR_TRANSPORT_TOTAL_TIME_H_
#define ZOR_TRANSPORT_TOTAL_TIME_H_

#include <chrono>

#include "platform/url_loading_port.h"

namespace zor {

// A handler that passes its first call on to `handler`. If `deadline` comes first, `handler` is
// called then, on zor_httpsOperationQueue(), with the error ZOR_FINGERPRINT_ERROR_TOTAL_TIME alone;
// a failure that arrives later is that error too. The result may be copied; when all copies are
// gone without a call, `handler` is never called.
//
// Starts a thread that waits. If the system has none to spare, only the exchanges' own limits
// apply.
TransportCompletion endingAt(std::chrono::steady_clock::time_point deadline,
                             const TransportCompletion& handler);

}  // namespace zor

#endif  // ZOR_TRANSPORT_TOTAL_TIME_H_
