#include "platform/log.h"

#include <gtest/gtest.h>

#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

TEST(Log, DeferredLinesWaitForTheOutermostScopeAndKeepTheirOrder) {
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

TEST(Log, TheChildOfAForkKeepsTheHandlerThatWasSetLast) {
  testing::FakeMachine machine;
  int lines = 0;
  setLogHandler([&lines](const std::string&) { lines += 10; });
  setLogHandler([&lines](const std::string&) { ++lines; });
  EXPECT_EQ(testing::inChildProcess([&lines] {
              logLine("to the parent's handler");
              setLogHandler({});
              logLine("to the system log");
              return lines;
            }),
            1);
  logLine("still");
  setLogHandler({});
  EXPECT_EQ(lines, 1);
}

}  // namespace
}  // namespace zor
