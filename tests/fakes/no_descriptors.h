// Makes the process run out of file descriptors.
#ifndef ZOR_TESTS_FAKES_NO_DESCRIPTORS_H_
#define ZOR_TESTS_FAKES_NO_DESCRIPTORS_H_

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace zor::testing {

// During its lifetime nothing can be opened.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &_limit);
    const rlimit none{0, _limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &_limit); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit _limit{};
};

}  // namespace zor::testing

// At the start of a test that uses it. The undefined-behavior sanitizer, which runs together with
// the address sanitizer, looks at an object's type through a pipe of its own; without one it takes
// every object for a damaged one.
#if defined(__SANITIZE_ADDRESS__)
#define ZOR_SKIP_WHERE_CHECKS_NEED_DESCRIPTORS() \
  GTEST_SKIP() << "the undefined-behavior sanitizer needs descriptors"
#else
#define ZOR_SKIP_WHERE_CHECKS_NEED_DESCRIPTORS() static_cast<void>(0)
#endif

#endif  // ZOR_TESTS_FAKES_NO_DESCRIPTORS_H_
