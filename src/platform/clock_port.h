// The wall clock.
#ifndef ZOR_PLATFORM_CLOCK_PORT_H_
#define ZOR_PLATFORM_CLOCK_PORT_H_

namespace zor {

// Callable from any thread.
class ClockPort {
 public:
  virtual ~ClockPort() = default;
  // Wall-clock time in seconds since 1970-01-01 00:00 UTC; may jump in both directions.
  virtual double secondsSince1970() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_CLOCK_PORT_H_
