// An HTTP proxy that misbehaves.
#ifndef ZOR_TESTS_FAKES_HOSTILE_PROXY_H_
#define ZOR_TESTS_FAKES_HOSTILE_PROXY_H_

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <thread>
#include <utility>

namespace zor::testing {

// The reply to a client's CONNECT.
struct ProxyManner {
  std::string opening = {};
  std::string repeated = {};  // Sent until the client closes; empty: nothing.
  int pauseMilliseconds = 0;  // Before each repetition.
  bool closes = false;        // After the opening.
};

// Serves one client after another on 127.0.0.1. Its destructor waits until they are gone.
class HostileProxy {
 public:
  explicit HostileProxy(ProxyManner manner)
      : _manner(std::move(manner)), _listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(_listener, reinterpret_cast<sockaddr*>(&address), size);
    ::listen(_listener, SOMAXCONN);
    ::getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &size);
    _port = ntohs(address.sin_port);
    _thread = std::thread([this] { run(); });
  }
  ~HostileProxy() {
    ::shutdown(_listener, SHUT_RDWR);
    _thread.join();
    ::close(_listener);
  }
  HostileProxy(const HostileProxy&) = delete;
  HostileProxy& operator=(const HostileProxy&) = delete;

  std::string url() const { return "http://127.0.0.1:" + std::to_string(_port); }

 private:
  void run() {
    int client = -1;
    while ((client = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
      serve(client);
      ::close(client);
    }
  }

  void serve(int client) {
    std::string request;
    char bytes[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const ssize_t count = ::recv(client, bytes, sizeof bytes, 0);
      if (count <= 0) return;
      request.append(bytes, static_cast<std::size_t>(count));
    }
    if (!send(client, _manner.opening) || _manner.closes) return;
    const int pause = _manner.repeated.empty() ? -1 : _manner.pauseMilliseconds;
    pollfd gone{client, POLLRDHUP, 0};
    while (::poll(&gone, 1, pause) == 0 && send(client, _manner.repeated)) {
    }
  }

  static bool send(int client, const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
      const ssize_t count = ::send(client, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return true;
  }

  const ProxyManner _manner;
  const int _listener;
  std::uint16_t _port = 0;
  std::thread _thread;
};

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_HOSTILE_PROXY_H_
