#include "tests/fakes/child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace zor::testing {

ChildProcess::ChildProcess(const std::function<int()>& body) : _process(::fork()) {
  if (_process < 0) std::abort();
  if (_process == 0) ::_exit(body());
}

ChildProcess::~ChildProcess() {
  if (_process < 0) return;
  kill();
  wait();
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(_process, &status, 0) < 0 && errno == EINTR) {
  }
  _process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ChildProcess::waitUntilStopped() const {
  int status = 0;
  while (::waitpid(_process, &status, WUNTRACED) < 0 && errno == EINTR) {
  }
  if (!WIFSTOPPED(status)) std::abort();
}

StoppedProcess::StoppedProcess(const std::function<void()>& body)
    : _process([&body] {
        body();
        return ::raise(SIGSTOP);
      }) {
  _process.waitUntilStopped();
}

void StoppedProcess::end() {
  _process.kill();
  _process.wait();
}

void ChildProcess::kill() {
  if (_process > 0) ::kill(_process, SIGKILL);
}

}  // namespace zor::testing
