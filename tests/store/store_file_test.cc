#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <tuple>

#include "crypto/text_cipher.h"
#include "literals/literals.h"
#include "platform/lock_wait.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "store/installation_identifier.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::FakeMachine;

class StoreFileTest : public ::testing::Test {
 protected:
  // Writes `content` to the store file.
  void putFile(const std::string& content) {
    std::ignore = machine.files.createDirectories(machine.files.libraryDirectory().value());
    std::ofstream(path(), std::ios::binary) << content;
  }
  static std::string path() { return storeFilePath().value(); }
  static std::string identifierOfNewProcess() {
    forgetInstallationIdentifier();
    return installationIdentifier();
  }

  FakeMachine machine;
};

TEST_F(StoreFileTest, ValuesOfOtherSlotsStayWhenOneIsWrittenOrForgotten) {
  EXPECT_EQ(dfp_store_read("a").content(), std::nullopt);
  EXPECT_FALSE(machine.files.exists(path()));
  std::ignore = dfp_store_write("a", "1");
  std::ignore = dfp_store_write("b", "ü\n");
  std::ignore = dfp_store_write("a", std::nullopt);
  EXPECT_EQ(dfp_store_read("a").content(), std::nullopt);
  EXPECT_EQ(dfp_store_read("b").content(), "ü\n");
  EXPECT_EQ(machine.log.lines(),
            std::vector<std::string>{formatText(literals::kStoreCreatedLogFormat.view(), {"1"})});
}

TEST_F(StoreFileTest, ADamagedFileReadsAsEmptyAndIsReplacedByTheNextWrite) {
  const std::string sealed = dfp_encrypt_text("{\"a\":\"1\",\"n\":5}").value();
  const std::string damaged[] = {"",
                                 std::string("\0\xFF\xFE\x01", 4),
                                 sealed.substr(0, sealed.size() / 2),
                                 "AAAA" + sealed.substr(4),
                                 sealed + "\n",
                                 dfp_encrypt_text("[\"a\"]").value(),
                                 dfp_encrypt_text("\"a\"").value(),
                                 dfp_encrypt_text("{\"a\":").value(),
                                 std::string(17 << 20, 'A')};
  for (const std::string& content : damaged) {
    putFile(content);
    EXPECT_EQ(dfp_store_read("a").content(), std::nullopt) << content.substr(0, 80);
    std::ignore = dfp_store_write("b", "2");
    EXPECT_EQ(dfp_store_read("a").content(), std::nullopt);
    EXPECT_EQ(dfp_store_read("b").content(), "2") << content.substr(0, 80);
  }
  putFile(sealed);
  EXPECT_EQ(dfp_store_read("n").content(), std::nullopt);  // Not a text.
  EXPECT_EQ(dfp_store_read("a").content(), "1");
}

TEST_F(StoreFileTest, AnUnchangedDictionaryIsNotWrittenAgain) {
  const auto inode = [] {
    struct stat status {};
    EXPECT_EQ(::stat(path().c_str(), &status), 0);
    return status.st_ino;
  };
  std::ignore = dfp_store_write("a", "1");
  const auto before = inode();
  std::ignore = dfp_store_write("a", "1");
  std::ignore = dfp_store_write("none", std::nullopt);
  EXPECT_EQ(inode(), before);
}

TEST_F(StoreFileTest, AFolderThatCannotBeMadeLosesTheValueAndNothingElse) {
  std::ignore = machine.files.createDirectories(machine.root);
  std::ofstream(machine.root + "/library") << "in the way";
  std::ignore = dfp_store_write("a", "1");
  EXPECT_EQ(dfp_store_read("a").content(), std::nullopt);
  EXPECT_EQ(machine.log.lines(),
            std::vector<std::string>{formatText(literals::kStoreCreatedLogFormat.view(), {"0"})});
}

TEST_F(StoreFileTest, AFullDiskKeepsWhatWasThere) {
  std::ignore = dfp_store_write("a", "1");
  machine.files.diskFull = true;
  std::ignore = dfp_store_write("a", "2");
  EXPECT_EQ(dfp_store_read("a").content(), "1");
}

TEST_F(StoreFileTest, TheHostsFolderReplacesTheDefaultOneWhenItIsAText) {
  const std::string key = literals::kStorePathDefaultsKey.str();
  const std::string standard = path();
  machine.defaults.setObject(key, 5.0);
  EXPECT_EQ(path(), standard);
  machine.defaults.setObject(key, machine.root + "/chosen/deep");
  std::ignore = dfp_store_write("a", "1");
  EXPECT_TRUE(
      machine.files.exists(machine.root + "/chosen/deep/" + literals::kStoreFileName.str()));
  EXPECT_FALSE(machine.files.exists(standard));
}

TEST_F(StoreFileTest, ProcessesThatWriteAtOnceLoseNoValueOfEachOther) {
  constexpr int kProcesses = 4;
  constexpr int kValues = 12;
  std::ignore = dfp_store_write("first", "1");
  for (int process = 0; process < kProcesses; ++process) {
    if (::fork() != 0) continue;
    const LockWaitBudget patience{std::chrono::minutes(1)};
    for (int value = 0; value < kValues; ++value) {
      std::ignore = dfp_store_write(std::to_string(process) + "-" + std::to_string(value), "x");
    }
    ::_exit(0);
  }
  for (int process = 0; process < kProcesses; ++process) ::wait(nullptr);
  for (int process = 0; process < kProcesses; ++process) {
    for (int value = 0; value < kValues; ++value) {
      EXPECT_EQ(dfp_store_read(std::to_string(process) + "-" + std::to_string(value)).content(),
                "x");
    }
  }
}

TEST_F(StoreFileTest, TheIdentifierIsMadeOnceAndNeitherPlaceRepairsTheOther) {
  const std::string key = dfp_slot_key(literals::kIdentifierSlot.view());
  const std::string made = identifierOfNewProcess();
  EXPECT_EQ(made.size(), 36U);
  EXPECT_EQ(dfp_store_read(key).content(), made);
  EXPECT_EQ(machine.defaults.objectForKey(key), made);

  std::ignore = clear_dfp_cache();
  machine.defaults.removeObject(key);
  EXPECT_EQ(identifierOfNewProcess(), made);
  EXPECT_EQ(machine.defaults.objectForKey(key), std::nullopt);

  machine.defaults.setObject(key, "another");
  EXPECT_EQ(identifierOfNewProcess(), "another");
  EXPECT_EQ(dfp_store_read(key).content(), made);
}

TEST_F(StoreFileTest, AnUnreadableValueIsNeitherReplacedNorMadeUpForGood) {
  const std::string key = dfp_slot_key(literals::kIdentifierSlot.view());
  const std::string made = identifierOfNewProcess();
  machine.defaults.removeObject(key);
  const std::string sealed = testing::readText(path());
  machine.files.unreadable[path()] = EIO;
  const std::string provisional = identifierOfNewProcess();
  EXPECT_NE(provisional, made);
  EXPECT_EQ(installationIdentifier(), provisional);
  EXPECT_FALSE(installationIdentifierStatus().isSuccess());
  EXPECT_FALSE(dfp_store_write("a", "1").isSuccess());
  EXPECT_TRUE(dfp_store_read(key).isUnreadable());
  machine.files.unreadable.clear();
  EXPECT_EQ(testing::readText(path()), sealed);
  EXPECT_EQ(installationIdentifier(), made);

  machine.defaults.unreadable = true;
  EXPECT_NE(identifierOfNewProcess(), made) << "The defaults might hold another.";
  machine.defaults.unreadable = false;
  EXPECT_EQ(installationIdentifier(), made);

  machine.files.unreadable[path()] = EACCES;
  EXPECT_TRUE(dfp_store_write("a", "1").isSuccess()) << "A file closed for good is replaced.";
  machine.files.unreadable.clear();
  EXPECT_EQ(dfp_store_read("a").content(), "1");
  EXPECT_EQ(dfp_store_read(key).content(), std::nullopt);
}

}  // namespace
}  // namespace zor
