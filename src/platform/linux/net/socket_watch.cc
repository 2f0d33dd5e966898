#include "platform/linux/net/socket_watch.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <tuple>

#include "support/signals_blocked.h"

namespace zor::net {
namespace {

// Gives the loader, unless it is held up, time to end overdue transfers itself.
constexpr std::chrono::milliseconds kTimeForTheLoader{50};

Traffic trafficOf(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return {};
  return {info.tcpi_bytes_received, info.tcpi_bytes_acked};
}

}  // namespace

SocketWatch::~SocketWatch() {
  {
    const MutexLock lock(_mutex);
    _isEnding = true;
    _changed.notifyAll();
  }
  if (_thread.joinable()) _thread.join();
}

int SocketWatch::open(int family, int type, int protocol, User user) {
  const MutexLock lock(_mutex);
  if (_isCutOff) return -1;
  // Programs that the host starts meanwhile must not inherit it.
  const int socket = ::socket(family, type | SOCK_CLOEXEC, protocol);
  if (socket >= 0) _sockets.push_back({socket, user, {}});
  return socket;
}

int SocketWatch::close(int socket) {
  const MutexLock lock(_mutex);
  _sockets.erase(
      std::remove_if(_sockets.begin(), _sockets.end(),
                     [socket](const Socket& known) { return known.descriptor == socket; }),
      _sockets.end());
  // Under the lock, as the number may belong to another file right afterwards.
  return ::close(socket);
}

void SocketWatch::use(int socket, User user) {
  const MutexLock lock(_mutex);
  for (Socket& known : _sockets) {
    if (known.descriptor == socket) known = {socket, user, trafficOf(socket)};
  }
}

Traffic SocketWatch::traffic(User user) const {
  const MutexLock lock(_mutex);
  Traffic sum;
  for (const Socket& socket : _sockets) {
    if (socket.user != user) continue;
    const Traffic now = trafficOf(socket.descriptor);
    sum.received += now.received - socket.before.received;
    sum.acknowledged += now.acknowledged - socket.before.acknowledged;
  }
  return sum;
}

void SocketWatch::setDeadline(User user, Clock::time_point deadline) {
  const MutexLock lock(_mutex);
  if (!_isRunning) startThread();
  _deadlines[user] = deadline;
  if (deadline + kTimeForTheLoader < _wakesAt) _changed.notifyAll();
}

void SocketWatch::forget(User user) {
  const MutexLock lock(_mutex);
  _deadlines.erase(user);
  for (Socket& socket : _sockets) {
    if (socket.user == user) socket.user = nullptr;
  }
}

void SocketWatch::cutOff() {
  const MutexLock lock(_mutex);
  _isCutOff = true;
  for (const Socket& socket : _sockets) {
    std::ignore = ::shutdown(socket.descriptor, SHUT_RDWR);  // Fails before it is connected.
  }
}

void SocketWatch::startThread() {
  try {
    const SignalsBlocked signalsBlocked;
    _thread = std::thread(&SocketWatch::run, this);
    _isRunning = true;
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): tried again next time.
  }
}

void SocketWatch::run() {
  ::pthread_setname_np(::pthread_self(), "zor-net-watch");
  const MutexLock lock(_mutex);
  while (!_isEnding) {
    cutOffOverdue(Clock::now());
    _wakesAt = nextEnd();
    if (_wakesAt == Clock::time_point::max()) {
      _changed.wait(_mutex);
    } else {
      _changed.waitUntil(_mutex, _wakesAt);
    }
  }
}

SocketWatch::Clock::time_point SocketWatch::nextEnd() const {
  auto next = Clock::time_point::max();
  for (const auto& [user, deadline] : _deadlines) {
    next = std::min(next, deadline + kTimeForTheLoader);
  }
  return next;
}

void SocketWatch::cutOffOverdue(Clock::time_point now) {
  for (auto entry = _deadlines.begin(); entry != _deadlines.end();) {
    if (now < entry->second + kTimeForTheLoader) {
      ++entry;
      continue;
    }
    for (const Socket& socket : _sockets) {
      if (socket.user == entry->first) std::ignore = ::shutdown(socket.descriptor, SHUT_RDWR);
    }
    entry = _deadlines.erase(entry);
  }
}

}  // namespace zor::net
