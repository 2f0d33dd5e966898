// One exchange in the hands of libcurl.
#ifndef ZOR_PLATFORM_LINUX_NET_TRANSFER_H_
#define ZOR_PLATFORM_LINUX_NET_TRANSFER_H_

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/net/c_handles.h"
#include "platform/linux/net/net_module.h"
#include "platform/linux/net/server_trust.h"
#include "platform/linux/net/socket_watch.h"
#include "platform/linux/net/time_limit.h"

namespace zor::net {

// Owns the exchange and its curl handle. Confined to the loader's thread; stays where it is, as the
// handle points back to it.
class Transfer {
 public:
  // `roots` outlives it; `watch` outlives its connections. The time limit starts now.
  Transfer(std::unique_ptr<Exchange> exchange, SystemRoots& roots, SocketWatch& watch);
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  // Makes the handle and sets all its options. False: the exchange has failed, `deliver` says how.
  bool prepare();

  // Null before prepare() and after end().
  CURL* handle() const { return _easy.get(); }

  // Checks the progress of the upload. False: the exchange is out of time.
  bool hasTimeLeft(TimeLimit::Clock::time_point now);
  // When to ask again.
  TimeLimit::Clock::time_point nextLook(TimeLimit::Clock::time_point now) const {
    return _limit.nextLook(now);
  }

  // Records how curl ended the exchange and releases the handle, which must have been removed from
  // its multi handle.
  void end(CURLcode result);

  // Delivers the result, once. Calls out, so no lock may be held.
  void deliver() { _exchange->finish(std::move(_result)); }

 private:
  template <typename Value>
  bool set(CURLoption option, Value value) {
    return curl_easy_setopt(_easy.get(), option, value) == CURLE_OK;
  }
  bool setTransport();
  bool setTrust();
  bool setRequest();
  bool setMethodAndBody();
  bool setHeaders();
  bool setCallbacks();

  // Callbacks of curl and OpenSSL; no exception may pass through their frames. `self` is the
  // transfer.
  static curl_socket_t openSocket(void* self, curlsocktype purpose,
                                  curl_sockaddr* address) noexcept;
  // Takes the watch as its argument because connections outlive the transfer that opened them.
  static int closeSocket(void* watch, curl_socket_t socket) noexcept;
  static int bytesMoved(void* self, curl_off_t bodyPromised, curl_off_t bodyReceived,
                        curl_off_t uploadPromised, curl_off_t uploaded) noexcept;
  static std::size_t headerArrived(char* bytes, std::size_t size, std::size_t count,
                                   void* self) noexcept;
  static std::size_t bodyArrived(char* bytes, std::size_t size, std::size_t count,
                                 void* self) noexcept;
  static CURLcode connectionIsMade(CURL* handle, void* sslContext, void* self) noexcept;
  static int handshakeShowsChain(X509_STORE_CTX* context, void* self) noexcept;
  static int requestIsDue(void* self, char* remoteAddress, char* localAddress, int remotePort,
                          int localPort) noexcept;

  void addHeaderLine(std::string_view line);
  bool startResponse(std::string_view statusLine);
  bool bodyEndsWithConnection() const;
  bool mayGoOn(std::uint64_t bodyBytes);
  bool receivesTooMuch(std::uint64_t bodyBytes) const;
  bool maySendAgain() const;
  bool maySendOn(SSL* connection);
  // Asks the delegate about a chain. False: refused, and the failure says why.
  bool judge(STACK_OF(X509) * presented);
  bool judgeByUrl(STACK_OF(X509) * presented);
  bool refuse(URLErrorCode code, const std::string& description);

  std::string currentUrl() const;
  std::optional<std::string> hostOfCurrentUrl() const;
  SSL* currentConnection() const;
  void takeResponse();

  const std::unique_ptr<Exchange> _exchange;
  SystemRoots& _roots;
  SocketWatch& _watch;
  TimeLimit _limit;
  CurlList _headers;
  CurlList _connectTo;

  // The response that is arriving; the last one of a chain of redirects remains.
  URLResponse _response;
  Data _body;
  std::size_t _headerBytes = 0;     // Including its interim answers and trailers.
  std::size_t _allHeaderBytes = 0;  // Since the request was last written.
  bool _responseIsDue = true;
  bool _responseIsInterim = false;
  bool _requestWasSent = false;
  bool _answerHasBegun = false;  // Since then.
  // The end of the body is the end of the connection, and only TLS tells whether it is the true
  // one.
  bool _endsWithConnection = false;
  bool _endWasAnnounced = false;
  unsigned _callsSinceLook = 0;

  // The connection whose handshake this transfer judged and has not yet used.
  const SSL* _judgedConnection = nullptr;
  // Why the transfer itself ended the exchange; curl then only says that it was told to.
  std::optional<Failure> _refusal;
  ExchangeResult _result;
  CurlEasy _easy;  // Last, so that it is destroyed first: its options point to the members above.
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_TRANSFER_H_
