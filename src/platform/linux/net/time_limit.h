// How long an exchange may take.
#ifndef ZOR_PLATFORM_LINUX_NET_TIME_LIMIT_H_
#define ZOR_PLATFORM_LINUX_NET_TIME_LIMIT_H_

#include <chrono>
#include <cstdint>
#include <optional>

namespace zor::net {

// The limit covers the whole exchange, redirects included. Only a request body that makes progress
// prolongs it: the time counts from the last progress then, as long as the body arrives at
// kMinUploadBytesPerSecond on average. A peer cannot gain more than that by its own doing.
class TimeLimit {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::uint64_t kMinUploadBytesPerSecond = 1024;

  // `seconds` that are absent, zero, negative or no number stand for kDefaultTimeoutSeconds.
  // `bodyBytes`: of the request. Nothing prolongs the limit beyond `deadline`.
  TimeLimit(const std::optional<double>& seconds, std::uint64_t bodyBytes, Clock::time_point now,
            const std::optional<Clock::time_point>& deadline = std::nullopt);

  // That many bytes of the request have arrived at the peer so far.
  void uploaded(std::uint64_t bytes, Clock::time_point now);

  bool isUploading() const { return _uploadedBytes < _bodyBytes; }
  Clock::time_point end() const;
  // When uploaded() should be called next; end() when there is no need.
  Clock::time_point nextLook(Clock::time_point now) const;

 private:
  const Clock::duration _limit;
  const std::uint64_t _bodyBytes;
  const Clock::time_point _start;
  const Clock::time_point _deadline;
  Clock::time_point _lastProgress;
  std::uint64_t _uploadedBytes = 0;
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_TIME_LIMIT_H_
