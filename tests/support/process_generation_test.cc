#include "support/process_generation.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <future>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/child_process.h"

namespace zor {
namespace {

using testing::inChildProcess;

// State whose lock a thread may hold, and whose end shows.
struct Owned {
  static inline std::atomic<int> destroyed{0};
  ~Owned() { ++destroyed; }
  Mutex mutex;
  int value = 0;
};

TEST(ProcessGeneration, AChildHasItsOwnStateAndLeavesTheParentsLockedCopyAlone) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  auto own = std::make_unique<OwnedPerProcess<Owned>>();
  Owned& parents = own->get();
  parents.value = 1;
  std::promise<void> isHeld;
  std::promise<void> mayGo;
  std::thread holder([&] {
    const MutexLock lock(parents.mutex);
    isHeld.set_value();
    mayGo.get_future().wait();
  });
  isHeld.get_future().wait();
  EXPECT_EQ(inChildProcess([&] {
              ::alarm(20);  // The parent's lock would be waited for for ever.
              Owned& childs = own->get();
              const bool isFresh = own->find() == &childs && &childs != &parents;
              { const MutexLock lock(childs.mutex); }
              own.reset();
              return isFresh && parents.value == 1 && Owned::destroyed == 1 ? 0 : 1;
            }),
            0);
  mayGo.set_value();
  holder.join();
  EXPECT_EQ(&own->get(), &parents);
  own.reset();
  EXPECT_EQ(Owned::destroyed, 1);
}

TEST(ProcessGeneration, ThreadsThatMakeAnObjectAtOnceAllGetTheSame) {
  struct Counted {
    explicit Counted(std::atomic<int>& all) : living(all) { ++living; }
    ~Counted() { --living; }
    std::atomic<int>& living;
  };
  for (int round = 0; round < 50; ++round) {
    std::atomic<int> living{0};
    MadeOnce<Counted> object;
    std::array<Counted*, 4> seen{};
    std::vector<std::thread> threads;
    for (Counted*& place : seen) {
      threads.emplace_back([&object, &place, &living] {
        place = &object.get([&living] { return std::make_unique<Counted>(living); });
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const Counted* place : seen) EXPECT_EQ(place, object.find());
    EXPECT_EQ(living, 1);
    delete object.find();  // Others of its kind live forever.
  }
}

TEST(LockRanks, ALockTakenOutOfOrderEndsADebugBuild) {
#ifdef NDEBUG
  GTEST_SKIP() << "ranks are checked by debug builds";
#endif
  const auto take = [](LockRank first, LockRank second) {
    return inChildProcess([first, second] {
      std::fclose(stderr);
      Mutex outer(first);
      Mutex inner(second);
      const MutexLock lock(outer);
      const MutexLock another(inner);
      return 0;
    });
  };
  EXPECT_EQ(take(LockRank::facade, LockRank::storeFile), 0);
  EXPECT_EQ(take(LockRank::storeFile, LockRank::facade), -SIGABRT);
  EXPECT_EQ(take(LockRank::queue, LockRank::queue), -SIGABRT);
}

// The words that `pattern` captures in the part of a file between two lines.
std::vector<std::string> wordsIn(const std::string& path, const std::string& from,
                                 const std::string& to, const std::string& pattern) {
  std::ifstream file(std::string(ZOR_TEST_DATA_DIR "/../../") + path);
  std::vector<std::string> words;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.find(from) != std::string::npos) inside = true;
    if (inside && line.find(to) != std::string::npos) break;
    std::smatch match;
    if (inside && std::regex_search(line, match, std::regex(pattern))) words.push_back(match[1]);
  }
  return words;
}

TEST(LockRanks, StandInTheDocumentInTheirOrder) {
  const auto inCode = wordsIn("src/support/mutex.h", "enum class LockRank", "};", R"(^  (\w+), )");
  EXPECT_GT(inCode.size(), 5U);
  EXPECT_EQ(wordsIn("docs/architecture.md", "## Lock order", "## Fork", R"(^\d+\. `(\w+)`)"),
            inCode);
}

#if defined(__linux__)
TEST(Fork, NothingIsInitializedUnderAGuard) {
  for (const char* file : {"libzorfingerprint.so", "zorfingerprint/zor_net.so"}) {
    const std::string command = std::string("nm -D --undefined-only " ZOR_TEST_BINARY_DIR "/lib/") +
                                file + " | grep -q __cxa_guard_acquire";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1) << file;
  }
}
#endif

}  // namespace
}  // namespace zor
