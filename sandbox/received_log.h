// Everything that was received, in one order across all services.
#ifndef ZOR_SANDBOX_RECEIVED_LOG_H_
#define ZOR_SANDBOX_RECEIVED_LOG_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"
#include "support/mutex.h"

namespace zor::sandbox {

// Callable from any thread.
class ReceivedLog {
 public:
  // Set the entry's order and time, keep it and return it.
  Received add(Received request);
  Handshake add(Handshake handshake);

  void countBytes(const std::string& localAddress, std::size_t bytes);

  std::vector<Received> requests() const;
  std::vector<Handshake> handshakes() const;
  AddressCounts counts(const std::string& localAddress) const;

  // Wait until that many are kept or counted; false: timeout.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;
  bool waitForConnections(const std::string& localAddress, std::uint64_t count,
                          std::chrono::milliseconds timeout) const;

  // Forgets everything; the numbering continues.
  void clear();

 private:
  std::uint64_t connectionsAt(const std::string& localAddress) const ZOR_REQUIRES(_mutex);

  // Guards the members below; nothing is called under it.
  mutable Mutex _mutex;
  mutable std::condition_variable_any _grown;
  std::uint64_t _lastOrder ZOR_GUARDED_BY(_mutex) = 0;
  std::vector<Received> _requests ZOR_GUARDED_BY(_mutex);
  std::vector<Handshake> _handshakes ZOR_GUARDED_BY(_mutex);
  std::map<std::string, AddressCounts> _counts ZOR_GUARDED_BY(_mutex);
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_RECEIVED_LOG_H_
