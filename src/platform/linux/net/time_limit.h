// How long an exchange may take.
#ifndef ZOR_PLATFORM_LINUX_NET_TIME_LIMIT_H_
#define ZOR_PLATFORM_LINUX_NET_TIME_LIMIT_H_

#include <chrono>
#include <cstdint>
#include <optional>

namespace zor::net {

// The limit covers the whole exchange, redirects included. Only progress in sending the request
// body extends it: the time then counts from the last progress, as long as the body arrives at
// kMinUploadBytesPerSecond on average. A peer cannot extend it further.
class TimeLimit {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::uint64_t kMinUploadBytesPerSecond = 1024;

  // If `seconds` is absent, zero, negative or not a number, kDefaultTimeoutSeconds applies.
  // `bodyBytes`: of the request. Nothing extends the limit beyond `deadline`.
  TimeLimit(const std::optional<double>& seconds, std::uint64_t bodyBytes, Clock::time_point now,
            const std::optional<Clock::time_point>& deadline = std::nullopt);

  // Records that so many bytes of the request have arrived at the peer so far.
  void uploaded(std::uint64_t bytes, Clock::time_point now);

  bool isUploading() const { return _uploadedBytes < _bodyBytes; }
  Clock::time_point end() const;
  // When uploaded() should be called next; end() if it need not be.
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
