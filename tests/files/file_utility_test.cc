#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

#include "files/ZORSecFileUti.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

constexpr std::uint64_t kMiB = 1U << 20;

class FileUtility : public ::testing::Test {
 protected:
  testing::FakeMachine machine;
  const std::string directory = machine.root + "/one/two";
  const std::string path = directory + "/file";
};

TEST_F(FileUtility, MakesTheFolderChainAndAnEmptyFileAndLeavesAnExistingFileAlone) {
  ZORSecFileUti("file", directory);
  ASSERT_TRUE(machine.files.exists(path));
  testing::writeText(path, "kept");
  const ZORSecFileUti again("file", directory);
  EXPECT_EQ(testing::readText(path), "kept");
  EXPECT_EQ(again.fullPath(), path);
}

TEST_F(FileUtility, LogsOnceWhyAFileIsNotExcludedFromBackups) {
  machine.files.backupProblem = Status::unusable("", "no such mark here");
  ZORSecFileUti("file", directory);
  ZORSecFileUti("file", directory);
  const auto lines = machine.log.lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find(path + " cannot be kept out of backups: no such mark here"),
            std::string::npos);
}

TEST_F(FileUtility, ReadsWithinTheFileOnly) {
  ZORSecFileUti file("file", directory);
  testing::writeText(path, "0123456789");
  file.open();
  const struct {
    std::uint64_t location, length;
    std::optional<std::string> text;
  } rows[] = {
      {0, 10, "0123456789"},
      {0, 11, std::nullopt},
      {3, 4, "3456"},
      {10, 0, std::nullopt},
      {11, 0, std::nullopt},
      {5, std::numeric_limits<std::uint64_t>::max() - 4, std::nullopt},
      {std::numeric_limits<std::uint64_t>::max(), 2, std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(file.readStrInRange({row.location, row.length}), row.text)
        << row.location << "+" << row.length;
  }
  EXPECT_TRUE(file.readDataInRange({10, 0})) << "An empty range is bytes, though no text.";
}

TEST_F(FileUtility, AnEmptyFileAndOneThatIsNotUtf8HaveNoText) {
  ZORSecFileUti file("file", directory);
  file.open();
  EXPECT_EQ(file.readToTheEndOfFile(), std::nullopt);
  EXPECT_FALSE(file.readDataToThenEndOfFile());
  EXPECT_TRUE(file.close().isSuccess());
  testing::writeText(path, "\xff\xfe");
  file.open();
  EXPECT_EQ(file.readToTheEndOfFile(), std::nullopt);
  EXPECT_EQ(file.readDataToThenEndOfFile()->size(), 2U);
}

TEST_F(FileUtility, AppendsOnlyWithAmpleFreeSpace) {
  const struct {
    std::optional<std::uint64_t> freeBytes;
    bool written;
  } rows[] = {
      {5120 * kMiB, true},
      {5120 * kMiB - kMiB / 10, false},  // 5119.9 MiB
      {5120 * kMiB - 1, true},           // The same as 5120 MiB in single precision.
      {0, false},
      {std::nullopt, false},
      {std::numeric_limits<std::uint64_t>::max(), true},
  };
  for (const auto& row : rows) {
    ZORSecFileUti file("file", directory);
    testing::writeText(path, "");
    machine.files.freeSpaceBytes = row.freeBytes;
    file.open();
    EXPECT_EQ(file.appendStr("x"), row.written);
    EXPECT_TRUE(file.close().isSuccess());
    EXPECT_EQ(testing::readText(path), row.written ? "x" : "") << row.freeBytes.value_or(1);
  }
}

TEST_F(FileUtility, ClearingAndAppendingReachTheDiskTogetherAtClose) {
  ZORSecFileUti file("file", directory);
  testing::writeText(path, "old");
  file.open();
  file.clearContent();
  EXPECT_EQ(file.size(), 0U);
  EXPECT_EQ(testing::readText(path), "old");
  EXPECT_FALSE(file.appendStr(""));
  EXPECT_TRUE(file.appendStr("new"));
  file.open();  // The second call does nothing, so the changes are not lost.
  EXPECT_EQ(file.readToTheEndOfFile(), "new");
  EXPECT_EQ(testing::readText(path), "old");
  EXPECT_TRUE(file.close().isSuccess());
  EXPECT_EQ(testing::readText(path), "new");
}

TEST_F(FileUtility, WithoutAFileReadsGiveNothingAndAppendsReportAsIfWritten) {
  const std::string elsewhere = machine.root + "/elsewhere";
  testing::writeText(elsewhere, "of another program");
  const auto check = [&](ZORSecFileUti& file, const std::string& problem) {
    file.open();
    EXPECT_EQ(file.status().reason(), problem);
    EXPECT_TRUE(file.appendStr("x"));
    EXPECT_EQ(file.readToTheEndOfFile(), std::nullopt);
    EXPECT_EQ(file.size(), 0U);
    EXPECT_FALSE(file.readDataInRange({0, 0}));
    file.clearContent();
    EXPECT_EQ(file.close().reason(), problem);
  };
  ZORSecFileUti file("file", directory);
  ::unlink(path.c_str());
  check(file, "it was removed");
  EXPECT_FALSE(machine.files.exists(path)) << "Only a new instance creates the file.";
  ASSERT_EQ(::symlink(elsewhere.c_str(), path.c_str()), 0);
  check(file, "it is a symbolic link");
  EXPECT_EQ(testing::readText(elsewhere), "of another program");
  ::unlink(path.c_str());
  ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
  check(file, "it is not a regular file");
  ZORSecFileUti nowhere("file", "");
  check(nowhere, "the user has no home folder");
}

}  // namespace
}  // namespace zor
