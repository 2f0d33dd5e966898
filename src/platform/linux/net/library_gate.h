// Makes forks and the exit of the process wait while a thread is inside libcurl or OpenSSL.
#ifndef ZOR_PLATFORM_LINUX_NET_LIBRARY_GATE_H_
#define ZOR_PLATFORM_LINUX_NET_LIBRARY_GATE_H_

#include <atomic>
#include <chrono>

#include "support/mutex.h"

namespace zor::net {

// At most one thread is inside the libraries. A child could not repair what they were changing at
// that moment, and they must not be torn down while the thread is inside. So a fork and the exit
// close the gate and wait until that thread is outside, for kMaxWaitAtGate at most. No lock is held
// while the thread is inside, nor over the fork.
//
// Each process has its own. Callable from any thread.
class LibraryGate {
 public:
  // `parents` is the gate of the process that this one was forked from, or null.
  explicit LibraryGate(const LibraryGate* parents)
      : _leftHalfWay(parents != nullptr && (parents->_leftHalfWay || parents->_inside)) {}

  // Waits until no thread is inside and no fork is under way. False: stay outside. The process is
  // exiting, or is the child of a fork that waited in vain and cannot use the libraries.
  bool enter() ZOR_EXCLUDES(_mutex);
  void leave() ZOR_EXCLUDES(_mutex);

  // Before a fork: keeps the gate closed until release().
  void hold() ZOR_EXCLUDES(_mutex);
  void release() ZOR_EXCLUDES(_mutex);

  // At exit: closes the gate for good.
  void close() ZOR_EXCLUDES(_mutex);
  bool isClosed() ZOR_EXCLUDES(_mutex);

  // Waits up to `limit` for the thread that is inside.
  void waitUntilOutside(std::chrono::milliseconds limit) ZOR_EXCLUDES(_mutex);

 private:
  // Guards the members below. Held for moments; nothing is called under it.
  Mutex _mutex{LockRank::libraries};
  ConditionVariable _changed;
  int _forks ZOR_GUARDED_BY(_mutex) = 0;
  std::atomic<bool> _inside{false};  // Atomic for the gate of a child; else under the lock.
  bool _closed ZOR_GUARDED_BY(_mutex) = false;
  const bool _leftHalfWay;
};

// The longest that a fork or the exit of the process waits for the thread that is inside.
constexpr std::chrono::milliseconds kMaxWaitAtGate{50};

// Enters a gate for a scope, or finds it closed.
class InsideLibraries {
 public:
  explicit InsideLibraries(LibraryGate& gate) : _gate(gate), _entered(gate.enter()) {}
  ~InsideLibraries() {
    if (_entered) _gate.leave();
  }
  InsideLibraries(const InsideLibraries&) = delete;
  InsideLibraries& operator=(const InsideLibraries&) = delete;

  explicit operator bool() const { return _entered; }

 private:
  LibraryGate& _gate;
  const bool _entered;
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_LIBRARY_GATE_H_
