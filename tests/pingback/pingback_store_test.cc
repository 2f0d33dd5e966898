#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "pingback/ZORSecPingback.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/log.h"
#include "support/json_codec.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

class PingbackStore : public ::testing::Test {
 protected:
  std::string content() const { return testing::readText(path); }
  void put(const std::string& text) const { testing::writeText(path, text); }

  // A store for the file at `path`, as another process or a later start would make it.
  static std::shared_ptr<ZORSecPingbackStore> openStore(const testing::FakeMachine& machine) {
    return ZORSecPingbackStore::create(
        std::make_shared<ZORSecFileUti>("file", machine.root + "/library"));
  }
  static ZORValue record(int number) { return ZORValue::dictionary({{"n", number}}); }

  testing::FakeMachine machine;
  const std::shared_ptr<ZORSecPingbackStore> store = openStore(machine);
  const std::string path = store->file()->fullPath();
};

TEST_F(PingbackStore, RecordsMakeOneCompactArrayInTheOrderSent) {
  store->writeDictionary(record(1), true);
  EXPECT_EQ(store->readStr().content(), R"([{"n":1}])");
  store->writeDictionary(record(2), true);
  store->writeDictionary(record(3), false);
  EXPECT_EQ(content(), R"([{"n":1},{"n":2},{"n":3}])");
  EXPECT_EQ(store->fileSize(), content().size());
  store->writeDictionary(std::nullopt, false);
  store->writeDictionary(ZORValue::dictionary(), false);
  EXPECT_EQ(content(), R"([{"n":1},{"n":2},{"n":3}])");
  store->clearFileContent();
  EXPECT_EQ(store->readStr().content(), std::nullopt);
}

TEST_F(PingbackStore, OnlyAnArraySurvivesTheNextWrite) {
  using namespace std::string_literals;
  const struct {
    std::string before, after;
  } rows[] = {
      {R"( [1, "x", null, [] ] )", R"([1,"x",null,[],{"n":1}])"},
      {R"({"n":0})", R"([{"n":1}])"},
      {"5", R"([{"n":1}])"},
      {R"([{"n":0},{"n":)", R"([{"n":1}])"},
      {"[\"\xff\"]", R"([{"n":1}])"},
      {"\x7f"
       "ELF\0\x01"s,
       R"([{"n":1}])"},
      {std::string(2000, '['), R"([{"n":1}])"},
  };
  for (const auto& row : rows) {
    put(row.before);
    store->writeDictionary(record(1), false);
    EXPECT_EQ(content(), row.after) << row.before.substr(0, 40);
  }
}

TEST_F(PingbackStore, ARecordThatMakesTheFileReachItsLimitIsDropped) {
  const ZORValue small = record(1);
  const std::size_t frame = std::string(R"(["",{"n":1}])").size();
  const auto arrayOf = [](std::size_t size) { return "[\"" + std::string(size, 'x') + "\"]"; };

  put(arrayOf(kMaxPingbackFileBytes - 1 - frame));
  store->writeDictionary(small, false);
  EXPECT_EQ(content().size(), 511999U);

  for (const std::string& full : {arrayOf(kMaxPingbackFileBytes - frame), arrayOf(600000)}) {
    put(full);
    store->writeDictionary(small, false);
    EXPECT_EQ(content(), full);
  }
  put("[1]");
  store->writeDictionary(ZORValue::dictionary({{"text", std::string(1000000, 'x')}}), false);
  store->writeDictionary(ZORValue::dictionary({{"text", "\xff"}}), false);
  EXPECT_EQ(content(), "[1]");
}

TEST_F(PingbackStore, AWriteOnANearlyFullDiskLosesEveryRecord) {
  store->writeDictionary(record(1), false);
  machine.files.freeSpaceBytes = (std::uint64_t{5120} << 20) - (1 << 20);
  store->writeDictionary(record(2), false);
  EXPECT_EQ(content(), "");
  machine.files.freeSpaceBytes = std::uint64_t{5120} << 20;
  store->writeDictionary(record(3), false);
  EXPECT_EQ(content(), R"([{"n":3}])");
}

TEST_F(PingbackStore, WhatReplacedTheFileIsNeitherFollowedNorChanged) {
  const std::string elsewhere = machine.root + "/elsewhere";
  testing::writeText(elsewhere, "[\"of another program\"]");
  ::unlink(path.c_str());
  ASSERT_EQ(::symlink(elsewhere.c_str(), path.c_str()), 0);
  store->writeDictionary(record(1), false);
  store->clearFileContent();
  EXPECT_EQ(store->readStr().content(), std::nullopt);
  EXPECT_EQ(content(), "[\"of another program\"]");

  ::unlink(path.c_str());
  ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
  store->writeDictionary(record(1), false);
  EXPECT_EQ(store->fileSize(), 0U);
  ASSERT_EQ(::rmdir(path.c_str()), 0);
  openStore(machine)->writeDictionary(record(1), false);
  EXPECT_EQ(content(), R"([{"n":1}])");
}

TEST_F(PingbackStore, ReportingDoesNotWaitForTheFile) {
  const auto shared = GetPingbackStore();
  auto heldElsewhere = machine.files.lockBeside(shared->file()->fullPath()).lock;
  ASSERT_TRUE(heldElsewhere);
  ZORSecPingback::sendWithError(1, "first", std::nullopt);
  ZORSecPingback::sendWithError(1, "second", std::nullopt);
  heldElsewhere.reset();
  const ZORValue records = testing::json(shared->readStr().content().value_or(""));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0]["pbErrorType"], "first");
  EXPECT_EQ(records[1]["pbErrorType"], "second");
}

TEST_F(PingbackStore, ALogHandlerMayCallTheStore) {
  std::optional<std::string> seen;
  setLogHandler([&](const std::string&) { seen = store->readStr().content(); });
  put("damaged");
  store->writeDictionary(record(1), false);
  setLogHandler({});
  EXPECT_EQ(seen, R"([{"n":1}])") << "After the file is closed.";
}

TEST_F(PingbackStore, ProcessesThatAppendAtOnceLoseNoRecord) {
  constexpr int kProcesses = 4;
  constexpr int kRecordsEach = 25;
  std::vector<std::unique_ptr<testing::ChildProcess>> processes;
  for (int process = 0; process < kProcesses; ++process) {
    processes.push_back(std::make_unique<testing::ChildProcess>([this, process] {
      const auto own = openStore(machine);
      for (int index = 0; index < kRecordsEach; ++index) {
        own->writeDictionary(record(process * kRecordsEach + index), true);
      }
      return own->fileSize() > 0 ? 0 : 1;
    }));
  }
  for (const auto& process : processes) EXPECT_EQ(process->wait(), 0);
  EXPECT_EQ(testing::json(content()).size(), std::size_t{kProcesses} * kRecordsEach);
}

TEST_F(PingbackStore, AKilledWriterLeavesAReadableFile) {
  int written[2];
  ASSERT_EQ(::pipe(written), 0);
  testing::ChildProcess child([&]() -> int {
    const auto own = openStore(machine);
    for (int index = 0;; ++index) {
      own->writeDictionary(record(index), false);
      std::ignore = ::write(written[1], "", 1);
    }
  });
  std::size_t acknowledged = 0;
  char byte = 0;
  while (acknowledged < 50 && ::read(written[0], &byte, 1) == 1) ++acknowledged;
  child.kill();
  child.wait();
  ::close(written[1]);
  while (::read(written[0], &byte, 1) == 1) ++acknowledged;
  ::close(written[0]);
  const ZORValue records = testing::json(content());
  ASSERT_TRUE(records.isArray());
  EXPECT_GE(records.size(), acknowledged);
  store->writeDictionary(record(-1), false);
  EXPECT_EQ(testing::json(content()).size(), records.size() + 1)
      << "The killed one's lock is free.";
}

TEST_F(PingbackStore, TheChildOfAForkRecordsWhileTheParentsStoreIsBusy) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  const ScopedPingbackStore scope;
  const auto parents = GetPingbackStore();
  const std::string shared = parents->file()->fullPath();
  auto heldElsewhere = machine.files.lockBeside(shared).lock;
  parents->writeDictionary(record(1), true);
  parents->writeDictionary(record(2), true);
  testing::ChildProcess child([&] {
    GetPingbackStore()->writeDictionary(record(3), false);
    return testing::readText(shared).find(R"({"n":3})") == std::string::npos ? 1 : 0;
  });
  heldElsewhere.reset();
  EXPECT_EQ(child.wait(), 0);
  std::ignore = parents->fileSize();
  EXPECT_EQ(testing::json(testing::readText(shared)).size(), 3U)
      << "Each process writes its own records, once.";
}

}  // namespace
}  // namespace zor
