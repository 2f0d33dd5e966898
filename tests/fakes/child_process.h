// Child processes: several programs of one user at once, or one that is killed.
#ifndef ZOR_TESTS_FAKES_CHILD_PROCESS_H_
#define ZOR_TESTS_FAKES_CHILD_PROCESS_H_

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>

namespace zor::testing {

// Runs `body` in the child of a fork; what it returns becomes the exit status. The child is killed
// when this object goes.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits until it ends. The exit status, or minus the signal that killed it.
  int wait();
  void kill();
  // Returns when it has stopped itself.
  void waitUntilStopped() const;

 private:
  pid_t _process;
};

// A process that has run `body` and is then stopped, as by a debugger or a full terminal: what it
// holds it keeps.
class StoppedProcess {
 public:
  explicit StoppedProcess(const std::function<void()>& body);
  void end();  // Everything it held is free afterwards.

 private:
  ChildProcess _process;
};

// Runs `body` in a child and waits for it; for tests that would change this whole process.
inline int inChildProcess(const std::function<int()>& body) { return ChildProcess(body).wait(); }

}  // namespace zor::testing

// At the start of a test that forks while threads of this process are at work. The address
// sanitizer does not hold its allocator, nor its record of who allocated, over a fork: a child made
// while another thread is inside waits forever at its next allocation. The plain build and the
// thread sanitizer, which holds its own, run these tests.
#if defined(__SANITIZE_ADDRESS__)
#define ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK() \
  GTEST_SKIP() << "the address sanitizer's allocator is not held over a fork"
#else
#define ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK() static_cast<void>(0)
#endif

#endif  // ZOR_TESTS_FAKES_CHILD_PROCESS_H_
