#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <tuple>

#include "platform/linux/defaults_linux.h"
#include "platform/lock_wait.h"
#include "platform/posix/file_io.h"
#include "support/json_codec.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/eventually.h"
#include "tests/fakes/no_descriptors.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::ChildProcess;
using testing::FakeMachine;
using testing::inChildProcess;
using testing::InMemoryDefaults;
using testing::readText;
using testing::TemporaryFolder;
using testing::writeText;

struct DefaultsFile {
  const TemporaryFolder folder;
  const std::string path = folder.file("sub/app.json");
  LinuxDefaults defaults{[this] { return path; }};

  LinuxDefaults another() const {
    return LinuxDefaults([file = path] { return file; });
  }
  void put(const std::string& text) const {
    std::filesystem::create_directories(folder.file("sub"));
    writeText(path, text);
  }
  ZORValue json() const { return testing::json(readText(path)); }
};

void keepsEveryKindUnderAnyKey(DefaultsPort& defaults) {
  const auto nested = ZORValue::dictionary(
      {{"$date", 5.0}, {"$", ZORDate{0.25}}, {"", ZORValue::dictionary({{"deep", "text"}})}});
  const std::vector<ZORValue> values{
      "", std::string("a\0b", 3), -0.5, 1e300, ZORDate{1.7e9}, ZORValue::dictionary(), nested};
  for (const char* key : {"", "$date", "../x", "ключ"}) {
    for (const ZORValue& value : values) {
      std::ignore = defaults.setObject(key, value);
      EXPECT_EQ(defaults.objectForKey(key), value);
    }
    std::ignore = defaults.removeObject(key);
    EXPECT_EQ(defaults.objectForKey(key), std::nullopt);
    std::ignore = defaults.removeObject(key);
  }
}

TEST(Defaults, KeepEveryKindUnderAnyKey) {
  InMemoryDefaults fake;
  keepsEveryKindUnderAnyKey(fake);
  DefaultsFile file;
  keepsEveryKindUnderAnyKey(file.defaults);
}

TEST(Defaults, AReaderSeesEachChangeOfAnotherWriterAtOnce) {
  DefaultsFile file;
  auto writer = file.another();
  // Versions of the same size, written faster than the file system's clock ticks.
  for (int turn = 100; turn < 200; ++turn) {
    std::ignore = writer.setObject("turn", std::to_string(turn));
    ASSERT_EQ(file.defaults.objectForKey("turn"), std::to_string(turn));
  }
  std::filesystem::remove(file.path);
  EXPECT_EQ(file.defaults.objectForKey("turn"), std::nullopt);
}

TEST(Defaults, FourProcessesOfTwoThreadsLoseNoValue) {
  DefaultsFile file;
  const auto write = [&](const std::string& prefix) {
    const LockWaitBudget patience{std::chrono::minutes(1)};
    for (int turn = 0; turn < 25; ++turn) {
      std::ignore = file.defaults.setObject(prefix + std::to_string(turn), double(turn));
    }
  };
  {
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (const std::string name : {"a", "b", "c", "d"}) {
      writers.push_back(std::make_unique<ChildProcess>([&, name] {
        std::thread other(write, name + "1.");
        write(name + "2.");
        other.join();
        return 0;
      }));
    }
    for (const auto& writer : writers) EXPECT_EQ(writer->wait(), 0);
  }
  EXPECT_EQ(file.json().size(), 200U);
}

TEST(Defaults, AWriterKilledAtAnyMomentLeavesAWholeFile) {
  DefaultsFile file;
  std::ignore = file.defaults.setObject("kept", std::string(20000, 'k'));
  for (int round = 0; round < 10; ++round) {
    const auto before = file.defaults.objectForKey("count");
    ChildProcess writer([&] {
      for (double count = round * 1e6;; ++count)
        std::ignore = file.defaults.setObject("count", count);
      return 0;
    });
    EXPECT_TRUE(testing::eventually([&] { return file.defaults.objectForKey("count") != before; }));
    writer.kill();
    EXPECT_LT(writer.wait(), 0);
    EXPECT_EQ(file.json().size(), 2U);
  }
  EXPECT_LE(file.folder.names().size(), 3U);
}

TEST(Defaults, ADamagedFileReadsAsEmptyAndIsKeptBesideTheNextOne) {
  for (const std::string& damaged :
       {std::string("\0\xff\x7f", 3), std::string("{\"a\":\"b\""), std::string("[]"),
        std::string("3"), std::string("{\"a\":\"\xc3\"}"), std::string(1000, '[')}) {
    DefaultsFile file;
    file.put(damaged);
    EXPECT_EQ(file.defaults.objectForKey("a"), std::nullopt);
    std::ignore = file.defaults.removeObject("a");
    EXPECT_EQ(readText(file.path), damaged);
    std::ignore = file.defaults.setObject("a", "new");
    EXPECT_EQ(file.json(), ZORValue::dictionary({{"a", "new"}}));
    EXPECT_EQ(readText(file.path + ".damaged"), damaged);
  }
}

TEST(Defaults, ValuesOfUnknownKindsReadAsAbsentAndStay) {
  DefaultsFile file;
  file.put(
      R"({"list":[1],"flag":true,"none":null,"later":{"$new":1},"wrong":{"$date":"x"},"n":3})");
  for (const char* key : {"list", "flag", "none", "later", "wrong"}) {
    EXPECT_EQ(file.defaults.objectForKey(key), std::nullopt) << key;
  }
  EXPECT_EQ(file.defaults.objectForKey("n"), 3.0);
  std::ignore = file.defaults.setObject("text", "x");
  std::ignore = file.defaults.removeObject("flag");
  EXPECT_EQ(file.json(), testing::json(R"({"list":[1],"none":null,"later":{"$new":1},
      "wrong":{"$date":"x"},"n":3,"text":"x"})"));
}

TEST(Defaults, WhatChangesNothingLeavesTheFileAlone) {
  DefaultsFile file;
  file.put("{ \"n\" : 3 }");
  std::ignore = file.defaults.setObject("n", 3.0);
  std::ignore = file.defaults.removeObject("absent");
  EXPECT_EQ(readText(file.path), "{ \"n\" : 3 }");
}

TEST(Defaults, ASymbolicLinkInPlaceOfTheFileIsReplacedNotFollowed) {
  DefaultsFile file;
  file.put("");
  std::filesystem::remove(file.path);
  writeText(file.folder.file("elsewhere"), "{\"a\":\"theirs\"}");
  std::filesystem::create_symlink("../elsewhere", file.path);
  EXPECT_EQ(file.defaults.objectForKey("a"), std::nullopt);
  std::ignore = file.defaults.setObject("a", "ours");
  EXPECT_EQ(file.json(), ZORValue::dictionary({{"a", "ours"}}));
  EXPECT_EQ(readText(file.folder.file("elsewhere")), "{\"a\":\"theirs\"}");
}

TEST(Defaults, AChangeThatCannotBeWrittenHoldsInMemoryAndIsRetried) {
  FakeMachine machine;
  DefaultsFile file;
  std::filesystem::create_directories(file.path + "/in the way");
  std::ignore = file.defaults.setObject("first", "1");
  std::ignore = file.defaults.setObject("second", "2");
  EXPECT_EQ(file.defaults.objectForKey("first"), "1");
  EXPECT_EQ(file.another().objectForKey("first"), std::nullopt);
  EXPECT_EQ(machine.log.lines().size(), 1U);
  std::filesystem::remove_all(file.path);
  std::ignore = file.defaults.removeObject("second");
  EXPECT_EQ(file.json(), ZORValue::dictionary({{"first", "1"}}));

  LinuxDefaults homeless([] { return std::nullopt; });
  std::ignore = homeless.setObject("key", "value");
  EXPECT_EQ(homeless.objectForKey("key"), "value");
}

TEST(Defaults, AValueThatNoFileCanHoldBlocksNoOther) {
  FakeMachine machine;
  DefaultsFile file;
  std::ignore = file.defaults.setObject("a", "old");
  std::ignore = file.defaults.setObject("a", "\xff");
  std::ignore = file.defaults.setObject("\xff", "b");
  std::ignore = file.defaults.setObject("c", "d");
  EXPECT_EQ(file.defaults.objectForKey("a"), "\xff");
  EXPECT_EQ(file.json(), ZORValue::dictionary({{"a", "old"}, {"c", "d"}}));
}

TEST(Defaults, AValueThatCouldNotBeReadIsNotReplacedByOneMadeUpMeanwhile) {
  ZOR_SKIP_WHERE_CHECKS_NEED_DESCRIPTORS();
  DefaultsFile file;
  file.put(R"({"identifier":"first"})");
  {
    const testing::NoDescriptors shortage;
    EXPECT_EQ(file.defaults.objectForKey("identifier"), std::nullopt);
    std::ignore = file.defaults.setObject("identifier", "second");
  }
  std::ignore = file.defaults.setObject("other", "value");
  EXPECT_EQ(file.defaults.objectForKey("identifier"), "first");
  EXPECT_EQ(file.json(), ZORValue::dictionary({{"identifier", "first"}, {"other", "value"}}));
}

TEST(Defaults, AChangeThatTheProcessMayNotWriteHoldsInIt) {
  DefaultsFile file;
  EXPECT_EQ(inChildProcess([&] {
              // The log line about it goes to a file, too.
              ::dup2(::creat(file.folder.file("log").c_str(), 0600), STDERR_FILENO);
              const rlimit none{0, 0};
              ::setrlimit(RLIMIT_FSIZE, &none);
              std::ignore = file.defaults.setObject("key", "value");
              return file.defaults.objectForKey("key") == "value" ? 0 : 1;
            }),
            0);
}

TEST(Defaults, AChangeThatIsTooLargeHoldsUpNoOther) {
  DefaultsFile file;
  std::ignore = file.defaults.setObject("large", std::string(kMaxFileBytes, 'x'));
  std::ignore = file.defaults.setObject("small", "kept");
  EXPECT_EQ(file.another().objectForKey("small"), "kept");
}

TEST(Defaults, ServeTheChildOfAForkWhileThreadsOfTheParentWrite) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  DefaultsFile file;
  for (int turn = 0; turn < 20; ++turn) {
    std::thread writer([&] {
      for (double count = 0; count < 5; ++count)
        std::ignore = file.defaults.setObject("parent", turn + count);
    });
    EXPECT_EQ(inChildProcess([&] {
                const LockWaitBudget patience{std::chrono::minutes(1)};
                std::ignore = file.defaults.setObject("child", double(turn));
                return file.defaults.objectForKey("child") == turn ? 0 : 1;
              }),
              0);
    writer.join();
  }
  EXPECT_EQ(file.defaults.objectForKey("child"), 19.0);
}

}  // namespace
}  // namespace zor
