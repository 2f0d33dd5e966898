#include "platform/operation_queue.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/fakes/child_process.h"

namespace zor {
namespace {

TEST(OperationQueue, ASerialQueueKeepsTheOrderAndRunsOneAtATime) {
  OperationQueue queue("test.serial", 1);
  std::vector<int> order;  // Unguarded on purpose: a second thread would be a race.
  for (int index = 0; index < 100; ++index) {
    queue.addOperation([&order, index] { order.push_back(index); });
  }
  queue.waitUntilAllOperationsAreFinished();
  ASSERT_EQ(order.size(), 100U);
  for (int index = 0; index < 100; ++index)
    EXPECT_EQ(order[static_cast<std::size_t>(index)], index);
}

TEST(OperationQueue, RunsTwoOperationsAtOnceAndNeverThree) {
  OperationQueue queue("test.two", 2);
  Mutex mutex;
  ConditionVariable bothIn;
  int inside = 0;
  int most = 0;
  for (int index = 0; index < 20; ++index) {
    queue.addOperation([&] {
      const MutexLock lock(mutex);
      most = std::max(most, ++inside);
      bothIn.notifyAll();
      while (most < 2) bothIn.wait(mutex);
      --inside;
    });
  }
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(most, 2);
}

TEST(OperationQueue, AnOperationThatThrowsStopsNoOther) {
  OperationQueue queue("test.throw", 1);
  bool ran = false;
  queue.addOperation([] { throw std::runtime_error("a host's callback"); });
  queue.addOperationAndWait([&ran] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST(OperationQueue, WorksAfreshInTheChildOfAFork) {
  OperationQueue queue("test.fork", 2);
  std::atomic<bool> stop{false};
  std::atomic<bool> started{false};
  queue.addOperation([&] {
    started = true;
    while (!stop) usleep(0);
  });
  while (!started) usleep(0);
  const pid_t child = ::fork();
  if (child == 0) {
    bool ran = false;
    queue.addOperationAndWait([&ran] { ran = true; });
    ::_exit(ran ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  stop = true;
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(status, 0);
}

TEST(OperationQueue, TheChildOfAForkDestroysNothingOfTheParentsEvenAtExit) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  static OperationQueue queue("test.exit", 1);  // Destroyed at the exit of the child.
  std::atomic<bool> stop{false};
  queue.addOperation([&] {
    while (!stop) usleep(0);
  });
  // Like an owner that would wait for a lock held by a thread that the child does not have.
  static pid_t parent = ::getpid();
  std::shared_ptr<int> owned(new int, [](const int* number) {
    delete number;
    if (::getpid() != parent) ::_exit(1);
  });
  queue.addOperation([owned = std::move(owned)] {});
  EXPECT_EQ(testing::inChildProcess([]() -> int { ::exit(0); }), 0);
  stop = true;
  queue.waitUntilAllOperationsAreFinished();
}

}  // namespace
}  // namespace zor
