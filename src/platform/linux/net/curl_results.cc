#include "platform/linux/net/curl_results.h"

namespace zor::net {
namespace {

URLErrorCode codeOf(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
    case CURLE_LOGIN_DENIED:  // The URL holds a user name.
      return URLErrorCode::badURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
      return URLErrorCode::unsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return URLErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
      return URLErrorCode::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return URLErrorCode::timedOut;
    case CURLE_TOO_MANY_REDIRECTS:
      return URLErrorCode::httpTooManyRedirects;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      return URLErrorCode::networkConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return URLErrorCode::badServerResponse;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
      return URLErrorCode::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
      return URLErrorCode::serverCertificateUntrusted;
    default:
      return URLErrorCode::unknown;
  }
}

}  // namespace

Failure failureOf(CURLcode result, bool requestWasSent, bool responseArrived) {
  // curl's word for an answer that does not start as HTTP does.
  if (result == CURLE_UNSUPPORTED_PROTOCOL && requestWasSent && !responseArrived) {
    result = CURLE_WEIRD_SERVER_REPLY;
  }
  // And for a header line of more than 100 KiB.
  if (result == CURLE_OUT_OF_MEMORY && requestWasSent) {
    return {URLErrorCode::dataLengthExceedsMaximum, "The response's headers are too long."};
  }
  // Callbacks that stop for another reason than this one say so themselves.
  if (result == CURLE_WRITE_ERROR) {
    return {URLErrorCode::unknown, "There is not enough memory for the response."};
  }
  return {codeOf(result), curl_easy_strerror(result)};
}

}  // namespace zor::net
