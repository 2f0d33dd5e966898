#include "platform/linux/net/transfer.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "support/ascii.h"

namespace zor::net {
namespace {

constexpr long kMaxRedirects = 16;
constexpr int kSwitchingProtocols = 101;
constexpr int kMinFinalStatus = 200;
// How much a connection may carry before the request is written: handshakes, answers of a proxy.
constexpr std::uint64_t kMaxBytesBeforeRequest = kMaxHeaderBytes;
// How much may come beside headers and body: framing of chunks and records, tickets. Peers need
// only a small part of it.
constexpr std::uint64_t kMaxBytesBesideAnswer = 1U << 20;
// curl calls for each byte of a proxy's answer.
constexpr unsigned kCallsBetweenLooks = 64;

// 0: the line has none.
int statusIn(std::string_view statusLine) {
  const auto blank = statusLine.find(' ');
  if (blank == std::string_view::npos) return 0;
  int status = 0;
  std::from_chars(statusLine.data() + blank + 1, statusLine.data() + statusLine.size(), status);
  return status;
}

// False if `text` has a character that would end the line, or the C string, early.
bool fitsOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isToken(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == std::string_view::npos;
}

// curl omits a header with nothing after the colon; a semicolon means an empty one.
std::string headerLine(const std::string& name, const std::string& value) {
  return value.empty() ? name + ";" : name + ": " + value;
}

Transfer& transferOf(void* self) { return *static_cast<Transfer*>(self); }

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

// `result` is not CURLE_OK. `responseArrived`: also where it was a redirect.
Failure failureOf(CURLcode result, bool requestWasSent, bool responseArrived) {
  // curl's code for an answer that does not start like HTTP.
  if (result == CURLE_UNSUPPORTED_PROTOCOL && requestWasSent && !responseArrived) {
    result = CURLE_WEIRD_SERVER_REPLY;
  }
  // curl's code for a header line of more than 100 KiB.
  if (result == CURLE_OUT_OF_MEMORY && requestWasSent) {
    return {URLErrorCode::dataLengthExceedsMaximum, "The response's headers are too long."};
  }
  // Callbacks that stop for any other reason set their own failure.
  if (result == CURLE_WRITE_ERROR) {
    return {URLErrorCode::unknown, "There is not enough memory for the response."};
  }
  return {codeOf(result), curl_easy_strerror(result)};
}

// What a delegate decided. Shared with the handler, which a delegate might keep.
struct ChallengeDecision {
  std::optional<ChallengeDisposition> disposition;
  bool withCredential = false;
};

ChallengeDecision decisionOf(URLSessionDelegate& delegate,
                             const std::shared_ptr<ServerTrust>& trust) {
  const auto decision = std::make_shared<ChallengeDecision>();
  try {
    delegate.didReceiveChallenge({AuthenticationMethod::serverTrust, trust},
                                 [decision](ChallengeDisposition disposition, bool withCredential) {
                                   if (decision->disposition) return;  // The first one counts.
                                   decision->disposition = disposition;
                                   decision->withCredential = withCredential;
                                 });
  } catch (...) {
    return {};
  }
  return *decision;
}

}  // namespace

Transfer::Transfer(std::unique_ptr<Exchange> exchange, SystemRoots& roots, SocketWatch& watch)
    : _exchange(std::move(exchange)),
      _roots(roots),
      _watch(watch),
      _limit(_exchange->request().timeoutSeconds, _exchange->request().body.size(),
             TimeLimit::Clock::now(), _exchange->request().deadline) {
  _watch.setDeadline(this, _limit.end());
}

Transfer::~Transfer() { _watch.forget(this); }

bool Transfer::hasTimeLeft(TimeLimit::Clock::time_point now) {
  if (_requestWasSent && _limit.isUploading()) {
    const auto before = _limit.end();
    _limit.uploaded(_watch.traffic(this).acknowledged, now);
    if (_limit.end() != before) _watch.setDeadline(this, _limit.end());
  }
  return now < _limit.end();
}

bool Transfer::prepare() {
  _easy.reset(curl_easy_init());
  if (_easy != nullptr && setTransport() && setTrust() && setCallbacks() && setRequest()) {
    return true;
  }
  _result.failure =
      _refusal.value_or(Failure{URLErrorCode::unknown, "The exchange could not be set up."});
  _easy.reset();
  return false;
}

bool Transfer::setTransport() {
  for (const std::string& entry : _exchange->connectTo()) {
    if (!_connectTo.append(entry)) return false;
  }
  return set(CURLOPT_NOSIGNAL, 1L) &&
         // A look-up that outlasts its exchange is abandoned; waiting for it would hold up all the
         // others.
         set(CURLOPT_QUICK_EXIT, 1L) && set(CURLOPT_PROTOCOLS_STR, "https") &&
         set(CURLOPT_REDIR_PROTOCOLS_STR, "https") && set(CURLOPT_FOLLOWLOCATION, 1L) &&
         set(CURLOPT_MAXREDIRS, kMaxRedirects) &&
         set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) &&
         set(CURLOPT_NETRC, long{CURL_NETRC_IGNORED}) &&
         set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L) && set(CURLOPT_PATH_AS_IS, 1L) &&
         set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) && set(CURLOPT_CONNECT_TO, _connectTo.get()) &&
         set(CURLOPT_OPENSOCKETFUNCTION, &Transfer::openSocket) &&
         set(CURLOPT_OPENSOCKETDATA, this) &&
         set(CURLOPT_CLOSESOCKETFUNCTION, &Transfer::closeSocket) &&
         set(CURLOPT_CLOSESOCKETDATA, &_watch);
}

// Trust is decided here alone; curl only has to obey. With VERIFYPEER off it would go on after a
// refusal, and with roots of its own it would read them, or fail to, for nothing.
bool Transfer::setTrust() {
  return set(CURLOPT_SSL_VERIFYPEER, 1L) && set(CURLOPT_SSL_VERIFYHOST, 0L) &&
         set(CURLOPT_CAINFO, nullptr) && set(CURLOPT_CAPATH, nullptr) &&
         set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2}) &&
         // A resumed session does not present its chain, so it would never be judged.
         set(CURLOPT_SSL_SESSIONID_CACHE, 0L) &&
         set(CURLOPT_SSL_CTX_FUNCTION, &Transfer::connectionIsMade) &&
         set(CURLOPT_SSL_CTX_DATA, this) && set(CURLOPT_PREREQFUNCTION, &Transfer::requestIsDue) &&
         set(CURLOPT_PREREQDATA, this);
}

bool Transfer::setCallbacks() {
  return set(CURLOPT_HEADERFUNCTION, &Transfer::headerArrived) && set(CURLOPT_HEADERDATA, this) &&
         set(CURLOPT_WRITEFUNCTION, &Transfer::bodyArrived) && set(CURLOPT_WRITEDATA, this) &&
         set(CURLOPT_XFERINFOFUNCTION, &Transfer::bytesMoved) && set(CURLOPT_XFERINFODATA, this) &&
         set(CURLOPT_NOPROGRESS, 0L);
}

bool Transfer::setRequest() {
  const std::string& url = _exchange->request().url;
  if (!fitsOneLine(url)) return refuse(URLErrorCode::badURL, "The URL is not valid.");
  return set(CURLOPT_URL, url.c_str()) && setMethodAndBody() && setHeaders();
}

bool Transfer::setMethodAndBody() {
  const URLRequest& request = _exchange->request();
  if (!isToken(request.method)) return refuse(URLErrorCode::badURL, "The method is not valid.");
  if (request.body.empty() && request.method == "GET") return set(CURLOPT_HTTPGET, 1L);
  if (request.body.empty() && request.method == "HEAD") return set(CURLOPT_NOBODY, 1L);
  const bool isPost = request.method == "POST";
  if (request.body.empty() && !isPost) return set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
  return set(CURLOPT_POST, 1L) &&
         set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size())) &&
         // Not copied: the exchange holds the request until the end.
         set(CURLOPT_POSTFIELDS,
             request.body.empty() ? "" : reinterpret_cast<const char*>(request.body.data())) &&
         // Left unset for POST, so that a redirect may turn it into GET.
         (isPost || set(CURLOPT_CUSTOMREQUEST, request.method.c_str()));
}

bool Transfer::setHeaders() {
  // Otherwise curl holds large bodies back for a second, waiting for the server's go-ahead.
  if (!_headers.append("Expect:")) return false;
  for (const auto& [name, value] : _exchange->request().headers) {
    if (!isToken(name) || !fitsOneLine(value)) {
      return refuse(URLErrorCode::badURL, "A request header is not valid.");
    }
    if (!_headers.append(headerLine(name, value))) return false;
  }
  return set(CURLOPT_HTTPHEADER, _headers.get());
}

curl_socket_t Transfer::openSocket(void* self, curlsocktype /*purpose*/,
                                   curl_sockaddr* address) noexcept try {
  return transferOf(self)._watch.open(address->family, address->socktype, address->protocol, self);
} catch (...) {
  return CURL_SOCKET_BAD;
}

int Transfer::closeSocket(void* watch, curl_socket_t socket) noexcept {
  return static_cast<SocketWatch*>(watch)->close(socket);
}

// Called whenever bytes may have moved, even in those loops of curl that a peer can prolong.
int Transfer::bytesMoved(void* self, curl_off_t /*bodyPromised*/, curl_off_t bodyReceived,
                         curl_off_t /*uploadPromised*/, curl_off_t /*uploaded*/) noexcept try {
  return transferOf(self).mayGoOn(static_cast<std::uint64_t>(bodyReceived)) ? 0 : 1;
} catch (...) {
  return 1;
}

bool Transfer::mayGoOn(std::uint64_t bodyBytes) {
  if (_endsWithConnection) {
    SSL* const connection = currentConnection();
    _endWasAnnounced =
        connection != nullptr && (SSL_get_shutdown(connection) & SSL_RECEIVED_SHUTDOWN) != 0;
  }
  if (_watch.isCutOff()) return refuse(URLErrorCode::cancelled, "The process is exiting.");
  const auto now = TimeLimit::Clock::now();
  if (now >= _limit.end() && !hasTimeLeft(now)) {
    return refuse(URLErrorCode::timedOut, curl_easy_strerror(CURLE_OPERATION_TIMEDOUT));
  }
  // Bodies of redirects are not handed over, only counted.
  if (bodyBytes > kMaxBodyBytes) {
    return refuse(URLErrorCode::dataLengthExceedsMaximum, "The response's body is too long.");
  }
  if (++_callsSinceLook % kCallsBetweenLooks != 0 || !receivesTooMuch(bodyBytes)) return true;
  return refuse(URLErrorCode::dataLengthExceedsMaximum, "More arrives than an answer may hold.");
}

bool Transfer::receivesTooMuch(std::uint64_t bodyBytes) const {
  const std::uint64_t received = _watch.traffic(this).received;
  if (!_requestWasSent) return received > kMaxBytesBeforeRequest;
  // As much again for the frames: a body may come in very small pieces.
  return received > kMaxBytesBesideAnswer + 2 * (_allHeaderBytes + bodyBytes);
}

std::size_t Transfer::headerArrived(char* bytes, std::size_t size, std::size_t count,
                                    void* self) noexcept {
  Transfer& transfer = transferOf(self);
  try {
    const std::string_view line(bytes, size * count);
    if (!transfer.startResponse(line)) return 0;
    transfer.addHeaderLine(line);
    if (transfer._headerBytes <= kMaxHeaderBytes) return size * count;
    transfer.refuse(URLErrorCode::dataLengthExceedsMaximum, "The response's headers are too long.");
  } catch (...) {  // NOLINT(bugprone-empty-catch): without memory; curl's result says enough.
  }
  return 0;
}

// Where `line` is the status line of one more response. False: it cannot be used.
bool Transfer::startResponse(std::string_view line) {
  constexpr std::string_view kStatusLineStart = "HTTP/";
  _answerHasBegun = true;
  if (!_responseIsDue || line.substr(0, kStatusLineStart.size()) != kStatusLineStart) return true;
  _response.headers.clear();
  _body.clear();
  // Interim answers count towards the final one, so that there cannot be an endless number of them.
  if (!_responseIsInterim) _headerBytes = 0;
  _responseIsDue = false;
  const int status = statusIn(line);
  _responseIsInterim = status < kMinFinalStatus;
  // No request asks for this, and what follows is not HTTP.
  if (status != kSwitchingProtocols) return true;
  return refuse(URLErrorCode::badServerResponse, "The server switches to another protocol.");
}

// Lines arrive one at a time, from every response on the way: interim ones, redirects, the last
// one.
void Transfer::addHeaderLine(std::string_view line) {
  const bool isFolded = line.front() == ' ' || line.front() == '\t';
  _headerBytes += line.size();
  _allHeaderBytes += line.size();
  const std::string_view content = trimmed(line);
  const auto colon = content.find(':');
  if (content.empty()) {
    _responseIsDue = true;  // Or trailers, which have no status line and join the headers.
    _endsWithConnection = bodyEndsWithConnection();
  } else if (isFolded && !_response.headers.empty()) {
    _response.headers.back().second.append(" ").append(content);
  } else if (colon != std::string_view::npos) {
    _response.headers.emplace_back(content.substr(0, colon), trimmed(content.substr(colon + 1)));
  }
}

bool Transfer::bodyEndsWithConnection() const {
  return !_response.header("Content-Length") && !_response.header("Transfer-Encoding");
}

std::size_t Transfer::bodyArrived(char* bytes, std::size_t size, std::size_t count,
                                  void* self) noexcept {
  Transfer& transfer = transferOf(self);
  Data& body = transfer._body;
  try {
    if (size * count <= kMaxBodyBytes - body.size()) {
      body.insert(body.end(), bytes, bytes + size * count);
      return size * count;
    }
    transfer.refuse(URLErrorCode::dataLengthExceedsMaximum, "The response's body is too long.");
  } catch (...) {  // NOLINT(bugprone-empty-catch): without memory; curl's result says enough.
  }
  return 0;
}

CURLcode Transfer::connectionIsMade(CURL* /*handle*/, void* sslContext, void* self) noexcept {
  auto* const context = static_cast<SSL_CTX*>(sslContext);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  // Otherwise OpenSSL keeps reading as long as a peer sends records without data.
  SSL_CTX_clear_mode(context, SSL_MODE_AUTO_RETRY);
  if (SSL_CTX_get_security_level(context) < kSecurityLevel) {
    SSL_CTX_set_security_level(context, kSecurityLevel);
  }
  // The context outlives the transfer if the connection is kept for another one, but without
  // renegotiation no second handshake calls back.
  SSL_CTX_set_cert_verify_callback(context, &Transfer::handshakeShowsChain, self);
  transferOf(self)._roots.expectChain();
  return CURLE_OK;
}

int Transfer::handshakeShowsChain(X509_STORE_CTX* context, void* self) noexcept {
  Transfer& transfer = transferOf(self);
  // curl asks for this result as well, and nothing has set it.
  X509_STORE_CTX_set_error(context, X509_V_ERR_CERT_REJECTED);
  try {
    if (!transfer.judge(X509_STORE_CTX_get0_untrusted(context))) return 0;
  } catch (...) {
    return 0;
  }
  X509_STORE_CTX_set_error(context, X509_V_OK);
  transfer._judgedConnection = static_cast<const SSL*>(
      X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
  return 1;
}

int Transfer::requestIsDue(void* self, char* /*remoteAddress*/, char* /*localAddress*/,
                           int /*remotePort*/, int /*localPort*/) noexcept {
  Transfer& transfer = transferOf(self);
  try {
    if (!transfer.maySendAgain()) {
      transfer.refuse(URLErrorCode::networkConnectionLost, curl_easy_strerror(CURLE_GOT_NOTHING));
      return CURL_PREREQFUNC_ABORT;
    }
    if (!transfer.maySendOn(transfer.currentConnection())) return CURL_PREREQFUNC_ABORT;
  } catch (...) {
    return CURL_PREREQFUNC_ABORT;
  }
  curl_socket_t socket = CURL_SOCKET_BAD;
  curl_easy_getinfo(transfer._easy.get(), CURLINFO_ACTIVESOCKET, &socket);
  transfer._watch.use(socket, &transfer);
  transfer._allHeaderBytes = 0;
  transfer._answerHasBegun = false;
  transfer._requestWasSent = true;
  return CURL_PREREQFUNC_OK;
}

// curl repeats a request by itself when a kept connection ends before an answer begins. The server
// may have acted on it all the same, so only requests without side effects are repeated.
bool Transfer::maySendAgain() const {
  if (!_requestWasSent || _answerHasBegun) return true;  // The first, or after a redirect.
  const char* method = nullptr;
  curl_easy_getinfo(_easy.get(), CURLINFO_EFFECTIVE_METHOD, &method);
  return method != nullptr && std::string_view(method) == "GET";
}

// curl reuses an idle connection for any request to the same address, whichever request judged its
// chain and for whichever name. So each request judges it: in the handshake, or here if the
// connection is older.
bool Transfer::maySendOn(SSL* connection) {
  if (connection == nullptr) {
    return refuse(URLErrorCode::secureConnectionFailed, "The connection is not secure.");
  }
  if (std::exchange(_judgedConnection, nullptr) == connection) return true;
  return judge(SSL_get_peer_cert_chain(connection));
}

bool Transfer::judge(STACK_OF(X509) * presented) {
  const auto delegate = _exchange->delegate();
  if (delegate == nullptr) {
    return refuse(URLErrorCode::serverCertificateUntrusted, "Nobody is left to judge the server.");
  }
  const auto trust = std::make_shared<PresentedChain>(
      _roots, presented, std::vector<TrustPolicy>{{hostOfCurrentUrl().value_or("")}});
  const ChallengeDecision decision = decisionOf(*delegate, trust);
  // No decision, or trust without a credential, is a refusal.
  switch (decision.disposition.value_or(ChallengeDisposition::rejectProtectionSpace)) {
    case ChallengeDisposition::useCredential:
      if (decision.withCredential && trust->credentialAvailable()) return true;
      break;
    case ChallengeDisposition::performDefaultHandling:
      return judgeByUrl(presented);
    case ChallengeDisposition::cancel:
      return refuse(URLErrorCode::cancelled, "The exchange was cancelled.");
    case ChallengeDisposition::rejectProtectionSpace:
      break;
  }
  return refuse(URLErrorCode::serverCertificateUntrusted,
                "The server's certificate is not trusted: " + trust->lastReason());
}

bool Transfer::judgeByUrl(STACK_OF(X509) * presented) {
  PresentedChain chain(_roots, presented, {{hostOfCurrentUrl().value_or("")}});
  const auto evaluation = chain.evaluate();
  if (evaluation && evaluation->result == TrustResult::unspecified) return true;
  return refuse(URLErrorCode::serverCertificateUntrusted,
                "The server's certificate is not trusted: " + chain.lastReason());
}

bool Transfer::refuse(URLErrorCode code, const std::string& description) {
  if (!_refusal) _refusal = Failure{code, description};
  return false;
}

std::string Transfer::currentUrl() const {
  const char* url = nullptr;
  curl_easy_getinfo(_easy.get(), CURLINFO_EFFECTIVE_URL, &url);
  return url != nullptr ? url : "";
}

std::optional<std::string> Transfer::hostOfCurrentUrl() const {
  const CurlUrl parts(curl_url());
  char* text = nullptr;
  if (parts == nullptr ||
      curl_url_set(parts.get(), CURLUPART_URL, currentUrl().c_str(), 0) != CURLUE_OK ||
      curl_url_get(parts.get(), CURLUPART_HOST, &text, 0) != CURLUE_OK) {
    return std::nullopt;
  }
  const CurlText owned(text);
  std::string host(text);
  const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return isBracketed ? host.substr(1, host.size() - 2) : host;
}

SSL* Transfer::currentConnection() const {
  curl_tlssessioninfo* info = nullptr;
  if (curl_easy_getinfo(_easy.get(), CURLINFO_TLS_SSL_PTR, &info) != CURLE_OK || info == nullptr ||
      info->backend != CURLSSLBACKEND_OPENSSL) {
    return nullptr;
  }
  return static_cast<SSL*>(info->internals);
}

void Transfer::takeResponse() {
  long status = 0;
  curl_easy_getinfo(_easy.get(), CURLINFO_RESPONSE_CODE, &status);
  if (status < kMinFinalStatus) return;  // None, or only interim ones.
  _response.statusCode = static_cast<int>(status);
  _response.url = currentUrl();
  _result.response = std::move(_response);
}

void Transfer::end(CURLcode result) {
  takeResponse();
  // Checked by the clock: a connection cut off at the end of its time looks like a lost one.
  if (result != CURLE_OK && TimeLimit::Clock::now() >= _limit.end()) {
    result = CURLE_OPERATION_TIMEDOUT;
  }
  if (_refusal) {
    _result.failure = _refusal;
  } else if (result != CURLE_OK) {
    _result.failure = failureOf(result, _requestWasSent, _result.response.has_value());
  } else if (!_result.response) {
    _result.failure = failureOf(CURLE_WEIRD_SERVER_REPLY, true, false);
  } else if (_endsWithConnection && !_body.empty() && !_endWasAnnounced) {
    // Anybody on the way may have cut the connection, and the body with it.
    _result.failure = failureOf(CURLE_PARTIAL_FILE, true, true);
  } else {
    _result.body = std::move(_body);
  }
  _easy.reset();
}

}  // namespace zor::net
