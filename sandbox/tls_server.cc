#include "sandbox/tls_server.h"

#include <openssl/ssl.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <future>
#include <list>
#include <thread>
#include <utility>

namespace zor::sandbox {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::uint64_t kMaxRequestBodyBytes = 64ULL * 1024 * 1024;
constexpr std::uint32_t kMaxRequestHeaderBytes = 256 * 1024;
constexpr int kFreePortTries = 100;
constexpr std::chrono::milliseconds kPauseAfterAcceptError{100};
constexpr const char* kEveryMachinesAddress = "127.0.0.1";
constexpr std::size_t kSlowPieceBytes = std::size_t{16} << 10;
constexpr int kSlowReceiveBufferBytes = 32 * 1024;  // Otherwise the system reads ahead.

std::string text(boost::beast::string_view view) { return {view.data(), view.size()}; }

// One connection, from the accepted socket to its end. Kept alive by its pending operation; all on
// the server's thread.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, asio::ssl::context& context, TlsServerDelegate& delegate,
          std::uint64_t id, const StandIn& standIn)
      : _stream(std::move(socket), context),
        _timer(_stream.get_executor()),
        _delegate(delegate),
        _unnamedServer(standIn.serverName) {
    error_code ignored;
    _connection.id = id;
    _connection.localAddress = standIn.address;
    if (!standIn.address.empty()) return;
    _connection.localAddress = _stream.next_layer().local_endpoint(ignored).address().to_string();
  }

  void start() {
    SSL_set_cert_cb(_stream.native_handle(), &Session::onClientHello, this);
    _stream.async_handshake(
        asio::ssl::stream_base::server,
        [self = shared_from_this()](const error_code& error) { self->onHandshake(error); });
  }

  void close() {
    error_code ignored;
    _timer.cancel();
    _stream.next_layer().close(ignored);
  }

 private:
  static int onClientHello(SSL* handle, void* argument) noexcept {
    auto& self = *static_cast<Session*>(argument);
    self.readServerName();
    self._action = self._delegate.planHandshake(self._connection, handle);
    // A negative result stops the handshake without an alert to the client.
    return self._action == HandshakeAction::proceed ? 1 : -1;
  }

  void readServerName() {
    const char* name = SSL_get_servername(_stream.native_handle(), TLSEXT_NAMETYPE_host_name);
    _connection.serverName = name != nullptr ? name : _unnamedServer;
  }

  void onHandshake(const error_code& error) {
    if (_action == HandshakeAction::reset) {
      _delegate.handshakeEnded(_connection, "reset by script");
      return reset();
    }
    if (_action == HandshakeAction::hang) {
      _delegate.handshakeEnded(_connection, "left hanging by script");
      return waitForClose();
    }
    if (error) return _delegate.handshakeEnded(_connection, error.message());
    readServerName();  // Again: in a resumed session no certificate is chosen.
    _delegate.handshakeEnded(_connection, "");
    if (_connection.readPause.count() != 0) {
      error_code ignored;
      _stream.next_layer().set_option(
          asio::socket_base::receive_buffer_size(kSlowReceiveBufferBytes), ignored);
    }
    readRequest();
  }

  void readRequest() {
    _parser.emplace();
    _parser->body_limit(kMaxRequestBodyBytes);
    _parser->header_limit(kMaxRequestHeaderBytes);
    if (_connection.readPause.count() != 0) return pauseBeforePiece();
    http::async_read(_stream, _buffer, *_parser,
                     [self = shared_from_this()](const error_code& error, std::size_t bytes) {
                       self->onRequest(error, bytes);
                     });
  }

  void pauseBeforePiece() {
    _parser->eager(true);
    _timer.expires_after(_connection.readPause);
    _timer.async_wait([self = shared_from_this()](const error_code& cancelled) {
      if (!cancelled) self->readPiece();
    });
  }

  void readPiece() {
    _stream.async_read_some(
        _buffer.prepare(kSlowPieceBytes),
        [self = shared_from_this()](error_code error, std::size_t bytes) {
          self->_buffer.commit(bytes);
          if (!error) self->_buffer.consume(self->_parser->put(self->_buffer.data(), error));
          if (error == http::error::need_more) error = {};
          if (error || self->_parser->is_done()) return self->onRequest(error, bytes);
          self->_delegate.bytesArrived(self->_connection, bytes);
          self->pauseBeforePiece();
        });
  }

  void onRequest(const error_code& error, std::size_t bytes) {
    const std::size_t arrived = error ? bytes + _buffer.size() : bytes;
    if (arrived > 0) _delegate.bytesArrived(_connection, arrived);
    if (error) return close();
    ++_connection.requests;
    const auto& message = _parser->get();
    WireRequest request;
    request.method = text(message.method_string());
    request.target = text(message.target());
    request.host = text(message[http::field::host]);
    for (const auto& field : message) {
      request.headers.emplace_back(text(field.name_string()), text(field.value()));
    }
    request.body = message.body();
    request.keepAlive = message.keep_alive();
    _answer = _delegate.answer(_connection, request);
    if (_answer.delay.count() == 0) return sendAnswer();
    _timer.expires_after(_answer.delay);
    _timer.async_wait([self = shared_from_this()](const error_code& cancelled) {
      if (!cancelled) self->sendAnswer();
    });
  }

  void sendAnswer() {
    if (_answer.ending == Ending::reset) return reset();
    if (_answer.ending == Ending::hang) return waitForClose();
    if (_answer.ending == Ending::dropKept) return shutDown();
    asio::async_write(_stream, asio::buffer(_answer.bytes),
                      [self = shared_from_this()](const error_code& error, std::size_t) {
                        if (error || self->_answer.ending == Ending::cutBody) return self->close();
                        if (!self->_answer.repeated.empty()) return self->repeatBytes();
                        if (self->_answer.repeatsTickets) return self->repeatTickets();
                        if (self->_answer.keepAlive) return self->readRequest();
                        self->shutDown();
                      });
  }

  void repeatBytes() {
    asio::async_write(_stream, asio::buffer(_answer.repeated),
                      [self = shared_from_this()](const error_code& error, std::size_t) {
                        error ? self->close() : self->repeatBytes();
                      });
  }

  // The ticket is sent with the next step of the handshake, although that has ended.
  void repeatTickets() {
    if (SSL_new_session_ticket(_stream.native_handle()) != 1) return close();
    _stream.async_handshake(asio::ssl::stream_base::server,
                            [self = shared_from_this()](const error_code& error) {
                              error ? self->close() : self->repeatTickets();
                            });
  }

  void shutDown() {
    _stream.async_shutdown([self = shared_from_this()](const error_code&) { self->close(); });
  }

  // Sends RST rather than closing properly.
  void reset() {
    error_code ignored;
    _stream.next_layer().set_option(asio::socket_base::linger(true, 0), ignored);
    close();
  }

  // Stays silent until the client gives up.
  void waitForClose() {
    _stream.next_layer().async_read_some(
        asio::buffer(_scrap), [self = shared_from_this()](const error_code& error, std::size_t) {
          if (error) return self->close();
          self->waitForClose();
        });
  }

  asio::ssl::stream<tcp::socket> _stream;
  asio::steady_timer _timer;
  TlsServerDelegate& _delegate;
  const std::string _unnamedServer;
  Connection _connection;
  HandshakeAction _action = HandshakeAction::proceed;
  boost::beast::flat_buffer _buffer;
  std::optional<http::request_parser<http::string_body>> _parser;
  WireAnswer _answer;
  std::array<char, 4096> _scrap{};
};

}  // namespace

class TlsServer::Core {
 public:
  explicit Core(TlsServerDelegate& delegate) : _delegate(delegate) {}

  void configure(TlsVersions versions, bool sessionTickets) {
    SSL_CTX* const context = _context.native_handle();
    SSL_CTX_set_min_proto_version(
        context, versions == TlsVersions::only13 ? TLS1_3_VERSION : TLS1_2_VERSION);
    SSL_CTX_set_max_proto_version(
        context, versions == TlsVersions::only12 ? TLS1_2_VERSION : TLS1_3_VERSION);
    constexpr unsigned char kSessions[] = "zorfp-sandbox";
    SSL_CTX_set_session_id_context(context, kSessions, sizeof(kSessions) - 1);
    if (sessionTickets) return;
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    SSL_CTX_set_num_tickets(context, 0);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  }

  std::optional<std::string> listen(const std::vector<std::string>& addresses, std::uint16_t port) {
    for (int left = kFreePortTries; left > 0; --left) {
      const auto [problem, inUse] = tryToListen(addresses, port);
      if (problem.empty()) return std::nullopt;
      // A port that is free on the first address may be taken on another.
      if (port != 0 || !inUse) return problem;
    }
    return "no port is free on every address";
  }

  std::optional<std::string> listenFor(std::vector<StandIn>& standIns) {
    std::list<Listener> opened;
    for (StandIn& standIn : standIns) {
      error_code error;
      opened.push_back({opener(kEveryMachinesAddress, standIn.port, error), {}});
      if (error) return problemText(kEveryMachinesAddress, standIn.port, error);
      standIn.port = opened.back().acceptor.local_endpoint().port();
      opened.back().standIn = standIn;
    }
    keep(opened);
    return std::nullopt;
  }

  std::uint16_t port() const { return _port; }

  void run() {
    for (auto& listener : _listeners) accept(listener);
    _thread = std::thread([this] { _service.run(); });
  }

  void stop() {
    _service.stop();
    if (_thread.joinable()) _thread.join();
    _listeners.clear();
    for (const auto& weakSession : _sessions) {
      if (const auto session = weakSession.lock()) session->close();
    }
  }

  void closeConnections() {
    if (!_thread.joinable() || _service.stopped()) return;
    std::promise<void> closed;
    asio::post(_service, [this, &closed] {
      for (const auto& weakSession : _sessions) {
        if (const auto session = weakSession.lock()) session->close();
      }
      closed.set_value();
    });
    closed.get_future().wait();
  }

 private:
  struct Listener {
    tcp::acceptor acceptor;
    StandIn standIn;  // Empty: connections are not redirected.
  };

  tcp::acceptor opener(const std::string& address, std::uint16_t port, error_code& error) {
    tcp::acceptor acceptor(_service);
    const tcp::endpoint endpoint(asio::ip::make_address(address, error), port);
    if (!error) acceptor.open(endpoint.protocol(), error);
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    return acceptor;
  }

  static std::string problemText(const std::string& address, std::uint16_t port,
                                 const error_code& error) {
    return address + " port " + std::to_string(port) + ": " + error.message();
  }

  std::pair<std::string, bool> tryToListen(const std::vector<std::string>& addresses,
                                           std::uint16_t port) {
    std::list<Listener> opened;
    std::uint16_t common = port;
    for (const std::string& address : addresses) {
      error_code error;
      opened.push_back({opener(address, common, error), {}});
      if (error) {
        return {problemText(address, common, error), error == asio::error::address_in_use};
      }
      common = opened.back().acceptor.local_endpoint().port();
    }
    keep(opened);
    return {"", false};
  }

  void keep(std::list<Listener>& opened) {
    if (_port == 0 && !opened.empty()) _port = opened.front().acceptor.local_endpoint().port();
    _listeners.splice(_listeners.end(), opened);
  }

  void accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](const error_code& error, tcp::socket socket) {
      if (error == asio::error::operation_aborted) return;
      if (error) return acceptLater(listener);
      startSession(std::move(socket), listener.standIn);
      accept(listener);
    });
  }

  // If descriptors run out, for instance, the next attempt would fail at once, and so on forever.
  void acceptLater(Listener& listener) {
    const auto pause = std::make_shared<asio::steady_timer>(_service, kPauseAfterAcceptError);
    pause->async_wait([this, &listener, pause](const error_code& cancelled) {
      if (!cancelled) accept(listener);
    });
  }

  void startSession(tcp::socket socket, const StandIn& standIn) {
    // Otherwise the answer waits 40 ms for the client to acknowledge the end of the handshake.
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    const auto session =
        std::make_shared<Session>(std::move(socket), _context, _delegate, ++_connections, standIn);
    _sessions.remove_if([](const auto& known) { return known.expired(); });
    _sessions.push_back(session);
    session->start();
  }

  TlsServerDelegate& _delegate;
  asio::io_context _service{1};
  asio::ssl::context _context{asio::ssl::context::tls_server};
  std::list<Listener> _listeners;
  std::list<std::weak_ptr<Session>> _sessions;
  std::uint64_t _connections = 0;
  std::uint16_t _port = 0;
  std::thread _thread;
};

TlsServer::TlsServer(TlsServerDelegate& delegate) : _core(std::make_unique<Core>(delegate)) {}

TlsServer::~TlsServer() {
  try {
    stop();
  } catch (...) {  // NOLINT(bugprone-empty-catch): only a thread that cannot be joined.
  }
}

void TlsServer::configure(TlsVersions versions, bool sessionTickets) {
  _core->configure(versions, sessionTickets);
}

std::optional<std::string> TlsServer::listen(const std::vector<std::string>& addresses,
                                             std::uint16_t port) {
  return _core->listen(addresses, port);
}

std::optional<std::string> TlsServer::listenFor(std::vector<StandIn>& standIns) {
  return _core->listenFor(standIns);
}

std::uint16_t TlsServer::port() const { return _core->port(); }

void TlsServer::run() { _core->run(); }

void TlsServer::stop() { _core->stop(); }

void TlsServer::closeConnections() { _core->closeConnections(); }

}  // namespace zor::sandbox
