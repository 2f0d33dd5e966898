// The sockets of the loader's connections: counts their traffic, and has a thread that cuts them
// off when the loader cannot.
#ifndef ZOR_PLATFORM_LINUX_NET_SOCKET_WATCH_H_
#define ZOR_PLATFORM_LINUX_NET_SOCKET_WATCH_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <thread>
#include <vector>

#include "support/mutex.h"

namespace zor::net {

// Bytes of a connection as the system counts them.
struct Traffic {
  std::uint64_t received = 0;
  std::uint64_t acknowledged = 0;  // Sent and acknowledged by the peer's system.
};

// A peer that sends as fast as the loader reads can keep it inside curl or OpenSSL indefinitely,
// and no timer of either library fires there. Shutting the socket down ends that.
//
// Threads: callable from any. Outlives every connection that uses one of its sockets.
class SocketWatch {
 public:
  using Clock = std::chrono::steady_clock;
  // The transfer that a socket works for; only compared.
  using User = const void*;

  SocketWatch() = default;
  ~SocketWatch();
  SocketWatch(const SocketWatch&) = delete;
  SocketWatch& operator=(const SocketWatch&) = delete;

  // As socket(2). -1: none is available, or everything is cut off.
  int open(int family, int type, int protocol, User user);
  // As close(2), for a socket that open() gave.
  int close(int socket);

  // Assigns a socket from open() to `user`, whose traffic count starts at zero.
  void use(int socket, User user);
  // What has gone through the sockets of `user` that are still open.
  Traffic traffic(User user) const;

  // Cuts off the sockets of `user` shortly after `deadline`, unless a later call moves it. Does
  // nothing if no thread is available for that.
  void setDeadline(User user, Clock::time_point deadline);
  // `user` has ended; its sockets may stay open for another one.
  void forget(User user);

  // Cuts off all sockets, and those that are yet to be opened.
  void cutOff();
  bool isCutOff() const { return _isCutOff; }

 private:
  struct Socket {
    int descriptor;
    User user;
    Traffic before;  // Its traffic before it was assigned to `user`.
  };

  void run() ZOR_EXCLUDES(_mutex);
  // When the next deadline passes; Clock::time_point::max() if there is none.
  Clock::time_point nextEnd() const ZOR_REQUIRES(_mutex);
  void cutOffOverdue(Clock::time_point now) ZOR_REQUIRES(_mutex);
  void startThread() ZOR_REQUIRES(_mutex);

  std::atomic<bool> _isCutOff{false};

  // Guards the members below. Taken last; nothing is called under it but the system.
  mutable Mutex _mutex{LockRank::connections};
  ConditionVariable _changed;
  std::vector<Socket> _sockets ZOR_GUARDED_BY(_mutex);
  std::map<User, Clock::time_point> _deadlines ZOR_GUARDED_BY(_mutex);
  Clock::time_point _wakesAt ZOR_GUARDED_BY(_mutex) = Clock::time_point::max();
  bool _isEnding ZOR_GUARDED_BY(_mutex) = false;
  bool _isRunning ZOR_GUARDED_BY(_mutex) = false;
  std::thread _thread;  // Started under the lock, joined by the destructor.
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_SOCKET_WATCH_H_
