// The sockets of the loader's connections: what comes through them, and a thread that cuts them off
// when the loader cannot.
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
  std::uint64_t acknowledged = 0;  // Sent, and arrived at the peer's system.
};

// A peer that sends as fast as it is read can keep the loader inside curl or OpenSSL for as long as
// it likes, and no timer of either library fires there. A socket that is shut down ends that.
//
// Threads: callable from any. Outlives every connection that has a socket of it.
class SocketWatch {
 public:
  using Clock = std::chrono::steady_clock;
  // The transfer that a socket works for; only compared.
  using User = const void*;

  SocketWatch() = default;
  ~SocketWatch();
  SocketWatch(const SocketWatch&) = delete;
  SocketWatch& operator=(const SocketWatch&) = delete;

  // As socket(2). -1: there is none to be had, or everything is cut off.
  int open(int family, int type, int protocol, User user);
  // As close(2), for a socket that open() gave.
  int close(int socket);

  // Makes a socket of open() work for `user`, whose traffic starts anew.
  void use(int socket, User user);
  // What has gone through the sockets of `user` that are still open.
  Traffic traffic(User user) const;

  // Cuts off the sockets of `user` shortly after `deadline`, unless that is moved. Without a thread
  // to spare for that, nothing happens.
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
    Traffic before;  // What had gone through it when `user` took it.
  };

  void run() ZOR_EXCLUDES(_mutex);
  // When the next deadline passes; Clock::time_point::max() without one.
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
