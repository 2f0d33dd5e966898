#include "sandbox/received_log.h"

namespace zor::sandbox {

Received ReceivedLog::add(Received request) {
  const MutexLock lock(_mutex);
  request.order = ++_lastOrder;
  request.time = std::chrono::system_clock::now();
  _requests.push_back(request);
  _grown.notify_all();
  return request;
}

Handshake ReceivedLog::add(Handshake handshake) {
  const MutexLock lock(_mutex);
  handshake.order = ++_lastOrder;
  handshake.time = std::chrono::system_clock::now();
  AddressCounts& counts = _counts[handshake.localAddress];
  ++counts.connections;
  ++(handshake.accepted ? counts.handshakesAccepted : counts.handshakesFailed);
  _handshakes.push_back(handshake);
  _grown.notify_all();
  return handshake;
}

void ReceivedLog::countBytes(const std::string& localAddress, std::size_t bytes) {
  const MutexLock lock(_mutex);
  _counts[localAddress].requestBytes += bytes;
}

std::vector<Received> ReceivedLog::requests() const {
  const MutexLock lock(_mutex);
  return _requests;
}

std::vector<Handshake> ReceivedLog::handshakes() const {
  const MutexLock lock(_mutex);
  return _handshakes;
}

AddressCounts ReceivedLog::counts(const std::string& localAddress) const {
  const MutexLock lock(_mutex);
  const auto found = _counts.find(localAddress);
  return found != _counts.end() ? found->second : AddressCounts{};
}

bool ReceivedLog::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  const auto end = std::chrono::steady_clock::now() + timeout;
  const MutexLock lock(_mutex);
  while (_requests.size() < count) {
    if (_grown.wait_until(_mutex, end) == std::cv_status::timeout) break;
  }
  return _requests.size() >= count;
}

bool ReceivedLog::waitForConnections(const std::string& localAddress, std::uint64_t count,
                                     std::chrono::milliseconds timeout) const {
  const auto end = std::chrono::steady_clock::now() + timeout;
  const MutexLock lock(_mutex);
  while (connectionsAt(localAddress) < count) {
    if (_grown.wait_until(_mutex, end) == std::cv_status::timeout) break;
  }
  return connectionsAt(localAddress) >= count;
}

std::uint64_t ReceivedLog::connectionsAt(const std::string& localAddress) const {
  const auto found = _counts.find(localAddress);
  return found != _counts.end() ? found->second.connections : 0;
}

void ReceivedLog::clear() {
  const MutexLock lock(_mutex);
  _requests.clear();
  _handshakes.clear();
  _counts.clear();
}

}  // namespace zor::sandbox
