#include "sandbox/inspector/page_server.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <chrono>
#include <deque>
#include <list>
#include <thread>
#include <utility>

namespace zor::sandbox {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::uint64_t kBodyLimitBytes = 1U << 16U;
constexpr std::uint32_t kHeaderLimitBytes = 16 * 1024;
constexpr std::size_t kMaxSessions = 64;
constexpr std::size_t kMaxUnreadEvents = 1000;
constexpr std::size_t kSecretBytes = 16;
constexpr std::chrono::seconds kRequestTime{30};
constexpr std::chrono::milliseconds kPauseAfterAcceptError{100};
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kTooLarge = 413;
constexpr int kBadRequest = 400;

// Allows only the page's own scripts and styles, and no connection to other servers.
constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types 'none'";

using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

std::string text(beast::string_view view) { return {view.data(), view.size()}; }

std::string newSecret() {
  std::array<unsigned char, kSecretBytes> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) return "";
  constexpr const char* kDigits = "0123456789abcdef";
  std::string secret;
  for (const unsigned char byte : bytes) {
    secret += kDigits[byte >> 4U];
    secret += kDigits[byte & 15U];
  }
  return secret;
}

bool isSecret(const std::string& wanted, const std::string& given) {
  return wanted.size() == given.size() &&
         CRYPTO_memcmp(wanted.data(), given.data(), wanted.size()) == 0;
}

PageAnswer refusal(int status, const std::string& words) {
  return {.status = status, .type = "text/plain; charset=utf-8", .body = words + "\n"};
}

void setCommonHeaders(Response& response) {
  response.set("Content-Security-Policy", kContentPolicy);
  response.set(http::field::cache_control, "no-store");
  response.set("X-Content-Type-Options", "nosniff");
  response.set("X-Frame-Options", "DENY");
  response.set("Referrer-Policy", "no-referrer");
  response.set("Cross-Origin-Resource-Policy", "same-origin");
  response.set("Cross-Origin-Opener-Policy", "same-origin");
}

// Checks who may ask, and passes requests on to the handler.
class Gate {
 public:
  Gate(PageServer::Handler answer, std::string secret)
      : _answer(std::move(answer)), _secret(std::move(secret)) {}

  void setPort(std::uint16_t port) { _port = std::to_string(port); }
  std::string url() const { return "http://127.0.0.1:" + _port + "/" + _secret + "/"; }

  PageAnswer answer(const Request& request) const {
    const std::string host = text(request[http::field::host]);
    // A foreign host name that resolves to this machine belongs to a foreign page.
    if (host != "127.0.0.1:" + _port && host != "localhost:" + _port) {
      return refusal(kForbidden, "This server only answers to 127.0.0.1:" + _port +
                                     " and localhost:" + _port + ".");
    }
    if (const auto origin = request.find(http::field::origin);
        origin != request.end() && text(origin->value()) != "http://" + host) {
      return refusal(kForbidden, "Pages of other sites may not ask this server.");
    }
    return answerBelowSecret(request);
  }

 private:
  PageAnswer answerBelowSecret(const Request& request) const {
    const std::string target = text(request.target());
    const std::size_t end = target.find('/', 1);
    if (target.empty() || target[0] != '/' || end == std::string::npos ||
        !isSecret(_secret, target.substr(1, end - 1))) {
      return refusal(kNotFound,
                     "Open the full address that zorfp-sandbox printed when it started. It is a "
                     "new one for each start.");
    }
    PageRequest asked;
    const std::size_t question = std::min(target.find('?'), target.size());
    asked.method = text(request.method_string());
    asked.path = target.substr(end + 1, question - end - 1);
    if (question < target.size()) asked.query = target.substr(question + 1);
    asked.body = request.body();
    asked.lastEventId = text(request["Last-Event-ID"]);
    return _answer(asked);
  }

  const PageServer::Handler _answer;
  const std::string _secret;
  std::string _port;
};

// One connection, kept alive by its pending operation; all on the server's thread.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, const Gate& gate) : _stream(std::move(socket)), _gate(gate) {}

  void start() { readRequest(); }

  void close() {
    error_code ignored;
    _stream.socket().close(ignored);
  }

  void publish(const std::string& event) {
    if (!_isListener) return;
    if (_unsent.size() >= kMaxUnreadEvents) return close();
    _unsent.push_back(event);
    if (_unsent.size() == 1) sendEvents();
  }

 private:
  void readRequest() {
    _parser.emplace();
    _parser->body_limit(kBodyLimitBytes);
    _parser->header_limit(kHeaderLimitBytes);
    _stream.expires_after(kRequestTime);
    http::async_read(_stream, _buffer, *_parser,
                     [self = shared_from_this()](const error_code& error, std::size_t) {
                       self->onRequest(error);
                     });
  }

  void onRequest(const error_code& error) {
    if (error) return refuseUnread(error);
    const Request& request = _parser->get();
    PageAnswer answer = _gate.answer(request);
    if (answer.isStream) return startStream(answer.body);
    send(std::move(answer), request.keep_alive(), request.method() == http::verb::head);
  }

  void refuseUnread(const error_code& error) {
    if (error == http::error::body_limit || error == http::error::header_limit) {
      return send(refusal(kTooLarge, "The request is too large."), false, false);
    }
    // Only data that is not HTTP gets an answer, not a closed connection.
    if (error.category() != make_error_code(http::error::bad_version).category() ||
        error == http::error::end_of_stream || error == http::error::partial_message) {
      return close();
    }
    send(refusal(kBadRequest, "This is not an HTTP request: " + error.message() + "."), false,
         false);
  }

  void send(PageAnswer answer, bool keepAlive, bool withoutBody) {
    _response = Response();
    _response.result(static_cast<unsigned>(answer.status));
    _response.set(http::field::content_type, answer.type);
    if (!answer.allow.empty()) _response.set(http::field::allow, answer.allow);
    setCommonHeaders(_response);
    _response.body() = std::move(answer.body);
    _response.keep_alive(keepAlive);
    _response.prepare_payload();
    if (withoutBody) _response.body().clear();
    _stream.expires_after(kRequestTime);
    http::async_write(_stream, _response,
                      [self = shared_from_this(), keepAlive](const error_code& error, std::size_t) {
                        if (!error && keepAlive) return self->readRequest();
                        error_code ignored;
                        self->_stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
                      });
  }

  void startStream(const std::string& firstEvents) {
    _isListener = true;
    _stream.expires_never();
    _response = Response();
    _response.set(http::field::content_type, "text/event-stream");
    setCommonHeaders(_response);
    std::string head = "HTTP/1.1 200 OK\r\n";
    for (const auto& field : _response) {
      head += text(field.name_string()) + ": " + text(field.value()) + "\r\n";
    }
    publish(head + "Connection: close\r\n\r\n" + firstEvents);
    waitForClose();
  }

  void sendEvents() {
    asio::async_write(_stream.socket(), asio::buffer(_unsent.front()),
                      [self = shared_from_this()](const error_code& error, std::size_t) {
                        if (error) return self->close();
                        self->_unsent.pop_front();
                        if (!self->_unsent.empty()) self->sendEvents();
                      });
  }

  // A listener sends nothing more; this read notices when it is gone.
  void waitForClose() {
    _stream.socket().async_read_some(
        asio::buffer(_scrap), [self = shared_from_this()](const error_code& error, std::size_t) {
          if (error) return self->close();
          self->waitForClose();
        });
  }

  beast::tcp_stream _stream;
  const Gate& _gate;
  beast::flat_buffer _buffer;
  std::optional<http::request_parser<http::string_body>> _parser;
  Response _response;
  bool _isListener = false;
  std::deque<std::string> _unsent;  // The first one is being sent.
  std::array<char, 512> _scrap{};
};

}  // namespace

class PageServer::Core {
 public:
  explicit Core(Handler answer) : _secret(newSecret()), _gate(std::move(answer), _secret) {}

  std::optional<std::string> listen(std::uint16_t port) {
    if (_secret.empty()) return "no random number for the page's address";
    error_code error;
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    _acceptor.open(endpoint.protocol(), error);
    if (!error) _acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) _acceptor.bind(endpoint, error);
    if (!error) _acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) return "127.0.0.1 port " + std::to_string(port) + ": " + error.message();
    _gate.setPort(_acceptor.local_endpoint().port());
    _url = _gate.url();
    return std::nullopt;
  }

  void run() {
    accept();
    _thread = std::thread([this] { _service.run(); });
  }

  void stop() {
    // Queued behind what was posted before, so that it still runs.
    asio::post(_service, [this] { _service.stop(); });
    if (_thread.joinable()) _thread.join();
    error_code ignored;
    _acceptor.close(ignored);
    forEachSession([](Session& session) { session.close(); });
  }

  void post(std::function<void()> task) { asio::post(_service, std::move(task)); }

  void publish(const std::string& event) {
    forEachSession([&event](Session& session) { session.publish(event); });
  }

  const std::string& url() const { return _url; }

 private:
  template <typename Action>
  void forEachSession(const Action& action) {
    for (const auto& weakSession : _sessions) {
      if (const auto session = weakSession.lock()) action(*session);
    }
  }

  void accept() {
    _acceptor.async_accept([this](const error_code& error, tcp::socket socket) {
      if (error == asio::error::operation_aborted) return;
      if (error) return acceptLater();
      _sessions.remove_if([](const auto& known) { return known.expired(); });
      if (_sessions.size() < kMaxSessions) {  // Else the socket is closed.
        const auto session = std::make_shared<Session>(std::move(socket), _gate);
        _sessions.push_back(session);
        session->start();
      }
      accept();
    });
  }

  // If descriptors run out, for instance, the next attempt would fail at once, and so on forever.
  void acceptLater() {
    _pause.expires_after(kPauseAfterAcceptError);
    _pause.async_wait([this](const error_code& cancelled) {
      if (!cancelled) accept();
    });
  }

  const std::string _secret;
  Gate _gate;
  std::string _url;
  asio::io_context _service{1};
  tcp::acceptor _acceptor{_service};
  asio::steady_timer _pause{_service};
  std::list<std::weak_ptr<Session>> _sessions;
  std::thread _thread;
};

PageServer::PageServer(Handler answer) : _core(std::make_unique<Core>(std::move(answer))) {}

PageServer::~PageServer() {
  try {
    stop();
  } catch (...) {  // NOLINT(bugprone-empty-catch): only a thread that cannot be joined.
  }
}

std::optional<std::string> PageServer::listen(std::uint16_t port) { return _core->listen(port); }

std::string PageServer::url() const { return _core->url(); }

void PageServer::run() { _core->run(); }

void PageServer::post(std::function<void()> task) { _core->post(std::move(task)); }

void PageServer::publish(const std::string& name, const std::string& data, std::int64_t id) {
  _core->publish(eventText(name, data, id));
}

void PageServer::stop() { _core->stop(); }

std::string eventText(const std::string& name, const std::string& data, std::int64_t id) {
  const std::string number = id != 0 ? "id: " + std::to_string(id) + "\n" : "";
  return "event: " + name + "\n" + number + "data: " + data + "\n\n";
}

}  // namespace zor::sandbox
