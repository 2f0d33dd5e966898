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

namespace zor::net {

// Owns the exchange and its curl handle. Confined to the loader's thread; stays where it is, as the
// handle points back to it.
class Transfer {
 public:
  // `roots` outlives it.
  Transfer(std::unique_ptr<Exchange> exchange, SystemRoots& roots);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  // Makes the handle and sets all its options. False: the exchange has failed, `deliver` says how.
  bool prepare();

  // Null before prepare() and after end().
  CURL* handle() const { return _easy.get(); }

  // Takes down how curl ended the exchange and releases the handle, which must have left its multi
  // handle.
  void end(CURLcode result);

  // Hands the outcome over, once. Calls out: with no lock held.
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

  // What curl and OpenSSL call; no exception may pass through their frames. `self` is the transfer.
  static curl_socket_t openSocket(void* self, curlsocktype purpose,
                                  curl_sockaddr* address) noexcept;
  static std::size_t headerArrived(char* bytes, std::size_t size, std::size_t count,
                                   void* self) noexcept;
  static std::size_t bodyArrived(char* bytes, std::size_t size, std::size_t count,
                                 void* self) noexcept;
  static CURLcode connectionIsMade(CURL* handle, void* sslContext, void* self) noexcept;
  static int handshakeShowsChain(X509_STORE_CTX* context, void* self) noexcept;
  static int requestIsDue(void* self, char* remoteAddress, char* localAddress, int remotePort,
                          int localPort) noexcept;

  void addHeaderLine(std::string_view line);
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
  CurlList _headers;
  CurlList _connectTo;

  // Of the response that is arriving; the last of a chain of redirects remains.
  URLResponse _response;
  Data _body;
  std::size_t _headerBytes = 0;
  bool _responseIsDue = true;
  bool _requestWasSent = false;

  // The connection whose handshake this transfer judged and has not yet used.
  const SSL* _judgedConnection = nullptr;
  // Why the transfer itself ended the exchange; curl then only says that it was told to.
  std::optional<Failure> _refusal;
  ExchangeResult _result;
  CurlEasy _easy;  // Last, so that it goes first: its options point to the members above.
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_TRANSFER_H_
