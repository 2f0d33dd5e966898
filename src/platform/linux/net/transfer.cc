#include "platform/linux/net/transfer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/linux/net/curl_results.h"
#include "support/ascii.h"

namespace zor::net {
namespace {

constexpr double kMaxTimeoutSeconds = 86400;
constexpr long kMaxRedirects = 16;
constexpr int kFirstFinalStatus = 200;

// A timeout that is zero, negative or NaN counts as not given.
long timeoutMilliseconds(const std::optional<double>& seconds) {
  const bool given = seconds && *seconds > 0;
  const double limit = given ? std::min(*seconds, kMaxTimeoutSeconds) : kDefaultTimeoutSeconds;
  return std::max(1L, std::lround(limit * 1000));
}

// Whatever would end the line, or the text as C reads it, early.
bool fitsOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isToken(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == std::string_view::npos;
}

// curl leaves a header with nothing after the colon out; a semicolon means an empty one.
std::string headerLine(const std::string& name, const std::string& value) {
  return value.empty() ? name + ";" : name + ": " + value;
}

Transfer& transferOf(void* self) { return *static_cast<Transfer*>(self); }

// What a delegate answered. Shared with the handler, which a delegate might keep.
struct ChallengeAnswer {
  std::optional<ChallengeDisposition> disposition;
  bool withCredential = false;
};

ChallengeAnswer answerOf(URLSessionDelegate& delegate, const std::shared_ptr<ServerTrust>& trust) {
  const auto answer = std::make_shared<ChallengeAnswer>();
  try {
    delegate.didReceiveChallenge({AuthenticationMethod::serverTrust, trust},
                                 [answer](ChallengeDisposition disposition, bool withCredential) {
                                   if (answer->disposition) return;  // The first answer counts.
                                   answer->disposition = disposition;
                                   answer->withCredential = withCredential;
                                 });
  } catch (...) {
    return {};
  }
  return *answer;
}

}  // namespace

Transfer::Transfer(std::unique_ptr<Exchange> exchange, SystemRoots& roots)
    : _exchange(std::move(exchange)), _roots(roots) {}

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
         // A look-up that outlasts its exchange is left behind; waiting for it would hold up all.
         set(CURLOPT_QUICK_EXIT, 1L) && set(CURLOPT_PROTOCOLS_STR, "https") &&
         set(CURLOPT_REDIR_PROTOCOLS_STR, "https") && set(CURLOPT_FOLLOWLOCATION, 1L) &&
         set(CURLOPT_MAXREDIRS, kMaxRedirects) &&
         set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) &&
         set(CURLOPT_NETRC, long{CURL_NETRC_IGNORED}) &&
         set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L) && set(CURLOPT_PATH_AS_IS, 1L) &&
         set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) &&
         set(CURLOPT_TIMEOUT_MS, timeoutMilliseconds(_exchange->request().timeoutSeconds)) &&
         set(CURLOPT_CONNECT_TO, _connectTo.get()) &&
         set(CURLOPT_OPENSOCKETFUNCTION, &Transfer::openSocket);
}

// The question whether to trust is ours alone; curl's part is to keep to the answer. With
// VERIFYPEER off it would go on after a refusal, and with roots of its own it would read them, or
// fail to, for nothing.
bool Transfer::setTrust() {
  return set(CURLOPT_SSL_VERIFYPEER, 1L) && set(CURLOPT_SSL_VERIFYHOST, 0L) &&
         set(CURLOPT_CAINFO, nullptr) && set(CURLOPT_CAPATH, nullptr) &&
         set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2}) &&
         // A resumed session would not show its chain, and so never be asked about.
         set(CURLOPT_SSL_SESSIONID_CACHE, 0L) &&
         set(CURLOPT_SSL_CTX_FUNCTION, &Transfer::connectionIsMade) &&
         set(CURLOPT_SSL_CTX_DATA, this) && set(CURLOPT_PREREQFUNCTION, &Transfer::requestIsDue) &&
         set(CURLOPT_PREREQDATA, this);
}

bool Transfer::setCallbacks() {
  return set(CURLOPT_HEADERFUNCTION, &Transfer::headerArrived) && set(CURLOPT_HEADERDATA, this) &&
         set(CURLOPT_WRITEFUNCTION, &Transfer::bodyArrived) && set(CURLOPT_WRITEDATA, this);
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
  // curl would hold large bodies back for a second, waiting to be told to go on.
  if (!_headers.append("Expect:")) return false;
  for (const auto& [name, value] : _exchange->request().headers) {
    if (!isToken(name) || !fitsOneLine(value)) {
      return refuse(URLErrorCode::badURL, "A request header is not valid.");
    }
    if (!_headers.append(headerLine(name, value))) return false;
  }
  return set(CURLOPT_HTTPHEADER, _headers.get());
}

// As curl does by itself, but not for the programs that the host starts meanwhile.
curl_socket_t Transfer::openSocket(void* /*self*/, curlsocktype /*purpose*/,
                                   curl_sockaddr* address) noexcept {
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

std::size_t Transfer::headerArrived(char* bytes, std::size_t size, std::size_t count,
                                    void* self) noexcept {
  Transfer& transfer = transferOf(self);
  try {
    transfer.addHeaderLine({bytes, size * count});
    if (transfer._headerBytes <= kMaxHeaderBytes) return size * count;
    transfer.refuse(URLErrorCode::dataLengthExceedsMaximum, "The response's headers are too long.");
  } catch (...) {  // NOLINT(bugprone-empty-catch): without memory; curl's result says enough.
  }
  return 0;
}

// Lines come one at a time, those of every response on the way: interim ones, redirects, the last.
void Transfer::addHeaderLine(std::string_view line) {
  constexpr std::string_view kStatusLineStart = "HTTP/";
  const bool isFolded = line.front() == ' ' || line.front() == '\t';
  if (_responseIsDue && line.substr(0, kStatusLineStart.size()) == kStatusLineStart) {
    _response.headers.clear();
    _body.clear();
    _headerBytes = 0;
    _responseIsDue = false;
  }
  _headerBytes += line.size();
  const std::string_view content = trimmed(line);
  const auto colon = content.find(':');
  if (content.empty()) {
    _responseIsDue = true;  // Or trailers, which have no status line and join the headers.
  } else if (isFolded && !_response.headers.empty()) {
    _response.headers.back().second.append(" ").append(content);
  } else if (colon != std::string_view::npos) {
    _response.headers.emplace_back(content.substr(0, colon), trimmed(content.substr(colon + 1)));
  }
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
  if (SSL_CTX_get_security_level(context) < kSecurityLevel) {
    SSL_CTX_set_security_level(context, kSecurityLevel);
  }
  // The context outlives the transfer where the connection is kept for another one, but without
  // renegotiation there is no second handshake that would call back.
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
    if (!transfer.maySendOn(transfer.currentConnection())) return CURL_PREREQFUNC_ABORT;
  } catch (...) {
    return CURL_PREREQFUNC_ABORT;
  }
  transfer._requestWasSent = true;
  return CURL_PREREQFUNC_OK;
}

// curl gives an idle connection to any request for the same address, whoever judged its chain and
// by whatever name. So each request asks: in the handshake, or here about one that was made before.
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
  const ChallengeAnswer answer = answerOf(*delegate, trust);
  // No answer, or trust without anything to show for it: refused.
  switch (answer.disposition.value_or(ChallengeDisposition::rejectProtectionSpace)) {
    case ChallengeDisposition::useCredential:
      if (answer.withCredential && trust->credentialAvailable()) return true;
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
  if (status < kFirstFinalStatus) return;  // None, or only interim ones.
  _response.statusCode = static_cast<int>(status);
  _response.url = currentUrl();
  _result.response = std::move(_response);
}

void Transfer::end(CURLcode result) {
  takeResponse();
  if (_refusal) {
    _result.failure = _refusal;
  } else if (result != CURLE_OK) {
    _result.failure = failureOf(result, _requestWasSent, _result.response.has_value());
  } else {
    _result.body = std::move(_body);
  }
  _easy.reset();
}

}  // namespace zor::net
