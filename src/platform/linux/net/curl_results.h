// How curl's results read to the library.
#ifndef ZOR_PLATFORM_LINUX_NET_CURL_RESULTS_H_
#define ZOR_PLATFORM_LINUX_NET_CURL_RESULTS_H_

#include <curl/curl.h>

#include "platform/linux/net/net_module.h"

namespace zor::net {

// `result` is not CURLE_OK. `responseArrived`: also where it was a redirect.
Failure failureOf(CURLcode result, bool requestWasSent, bool responseArrived);

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_CURL_RESULTS_H_
