#include "support/fork_hooks.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "platform/log.h"
#include "support/mutex.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

std::promise<void>& forkHasBegun() {
  static auto& promise = *new std::promise<void>;
  return promise;
}

// A lock is made, and registered, under another one that a fork is already waiting for.
TEST(ForkHooksTest, ALockMadeDuringAForkIsHeldOverItToo) {
  static auto& outer = *new Mutex;
  static auto& made = *new Mutex;
  static bool once = false;
  if (once) GTEST_SKIP() << "registrations last as long as the process";
  registerForkHook({ForkRank::facade, nullptr,
                    [](void*) {
                      if (!std::exchange(once, true)) forkHasBegun().set_value();
                    },
                    nullptr, nullptr});
  holdOverFork(ForkRank::storeFile, outer);

  std::promise<void> outerIsHeld;
  std::thread maker([&outerIsHeld] {
    const MutexLock lock(outer);
    outerIsHeld.set_value();
    forkHasBegun().get_future().wait();
    holdOverFork(ForkRank::portState, made);
  });
  outerIsHeld.get_future().wait();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(10);  // A lock left held would wait for ever.
    { const MutexLock first(outer); }
    { const MutexLock second(made); }
    ::_exit(0);
  }
  maker.join();
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  const MutexLock first(outer);
  const MutexLock second(made);
}

TEST(LogDeferralTest, LinesWaitForTheOutermostScopeAndKeepTheirOrder) {
  testing::FakeMachine machine;
  {
    const LogDeferral outer;
    logLine("one");
    {
      const LogDeferral inner;
      logLine("two");
    }
    EXPECT_TRUE(machine.log.lines().empty());
  }
  logLine("three");
  EXPECT_EQ(machine.log.lines(), (std::vector<std::string>{"one", "two", "three"}));
}

}  // namespace
}  // namespace zor
