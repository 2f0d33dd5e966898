#include "platform/linux/net/time_limit.h"

#include <algorithm>

#include "platform/url_loading_port.h"

namespace zor::net {
namespace {

constexpr double kMaxTimeoutSeconds = 86400;
constexpr double kMinTimeoutSeconds = 0.001;
// How often the progress of an upload is checked within the limit.
constexpr int kLooksWithinLimit = 8;

TimeLimit::Clock::duration limitOf(const std::optional<double>& seconds) {
  const bool isGiven = seconds && *seconds > 0;  // Not so for NaN.
  const double limit = isGiven ? std::clamp(*seconds, kMinTimeoutSeconds, kMaxTimeoutSeconds)
                               : kDefaultTimeoutSeconds;
  return std::chrono::duration_cast<TimeLimit::Clock::duration>(
      std::chrono::duration<double>(limit));
}

}  // namespace

TimeLimit::TimeLimit(const std::optional<double>& seconds, std::uint64_t bodyBytes,
                     Clock::time_point now, const std::optional<Clock::time_point>& deadline)
    : _limit(limitOf(seconds)),
      _bodyBytes(bodyBytes),
      _start(now),
      _deadline(deadline.value_or(Clock::time_point::max())),
      _lastProgress(now) {}

void TimeLimit::uploaded(std::uint64_t bytes, Clock::time_point now) {
  bytes = std::min(bytes, _bodyBytes);
  if (bytes <= _uploadedBytes) return;
  _uploadedBytes = bytes;
  _lastProgress = now;
}

TimeLimit::Clock::time_point TimeLimit::end() const {
  const std::chrono::milliseconds earned(_uploadedBytes * 1000 / kMinUploadBytesPerSecond);
  return std::min({_lastProgress + _limit, _start + _limit + earned, _deadline});
}

TimeLimit::Clock::time_point TimeLimit::nextLook(Clock::time_point now) const {
  if (!isUploading()) return end();
  return std::min(end(), now + _limit / kLooksWithinLimit);
}

}  // namespace zor::net
