#include "platform/linux/net/library_gate.h"

namespace zor::net {

bool LibraryGate::enter() {
  if (_leftHalfWay) return false;
  const MutexLock lock(_mutex);
  while (!_closed && (_inside || _forks > 0)) _changed.wait(_mutex);
  if (_closed) return false;
  _inside = true;
  return true;
}

void LibraryGate::leave() {
  const MutexLock lock(_mutex);
  _inside = false;
  _changed.notifyAll();
}

void LibraryGate::hold() {
  const MutexLock lock(_mutex);
  ++_forks;
}

void LibraryGate::release() {
  const MutexLock lock(_mutex);
  --_forks;
  _changed.notifyAll();
}

void LibraryGate::close() {
  const MutexLock lock(_mutex);
  _closed = true;
  _changed.notifyAll();
}

bool LibraryGate::isClosed() {
  const MutexLock lock(_mutex);
  return _closed;
}

void LibraryGate::waitUntilOutside(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  const MutexLock lock(_mutex);
  while (_inside && std::chrono::steady_clock::now() < end) _changed.waitUntil(_mutex, end);
}

}  // namespace zor::net
