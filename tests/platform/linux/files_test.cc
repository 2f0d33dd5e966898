#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/posix/file_io.h"
#include "support/text.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::ChildProcess;
using testing::inChildProcess;
using testing::readText;
using testing::TemporaryFolder;
using testing::writeText;

FilePort& files() { return linuxFilePort(); }

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST(Files, AreForTheUserAloneWhateverTheUmask) {
  const TemporaryFolder folder;
  EXPECT_EQ(inChildProcess([&] {
              ::umask(0777);
              bool done = files().createDirectories(folder.file("open/a"));
              ::umask(0);
              done = done && files().createDirectories(folder.file("open/b"));
              done = done && files().writeAtomically(folder.file("open/written"), {1});
              ::umask(0277);
              return done && files().createFile(folder.file("open/created"), {}) ? 0 : 1;
            }),
            0);
  for (const char* name : {"open", "open/a", "open/b"}) {
    EXPECT_EQ(modeOf(folder.file(name)), 0700U) << name;
  }
  for (const char* name : {"open/written", "open/created"}) {
    EXPECT_EQ(modeOf(folder.file(name)), 0600U) << name;
  }
}

TEST(Files, WhatIsNoRegularFileIsNeitherReadNorWaitedForNorFollowed) {
  const TemporaryFolder folder;
  writeText(folder.file("elsewhere"), "precious");
  ASSERT_EQ(::mkfifo(folder.file("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("elsewhere", folder.file("link").c_str()), 0);
  ASSERT_EQ(::symlink("nowhere", folder.file("dangling").c_str()), 0);
  const std::string withNul = folder.file("elsewhere") + std::string("\0x", 2);
  for (const std::string& path : {folder.file("fifo"), folder.file("link"), folder.path,
                                  std::string("/dev/zero"), withNul, std::string()}) {
    EXPECT_FALSE(files().read(path)) << path;
    EXPECT_EQ(files().openForUpdating(path), nullptr) << path;
  }
  EXPECT_TRUE(files().exists(folder.file("dangling")));
  EXPECT_FALSE(files().createFile(folder.file("dangling"), {}));
  EXPECT_FALSE(files().writeAtomically(withNul, {}));
  EXPECT_FALSE(files().writeAtomically(folder.path, {}));
  EXPECT_TRUE(files().writeAtomically(folder.file("link"), utf8Bytes("new")));
  EXPECT_EQ(readText(folder.file("link")), "new");
  EXPECT_EQ(readText(folder.file("elsewhere")), "precious");
  EXPECT_FALSE(files().createDirectories(folder.file("elsewhere/below")));
}

TEST(Files, AHandleChangesTheFileAtSynchronizeOrNotAtAll) {
  const TemporaryFolder folder;
  const std::string path = folder.file("file");
  writeText(path, "one");
  {
    const auto handle = files().openForUpdating(path);
    handle->append(utf8Bytes("two"));
    EXPECT_EQ(handle->read(2, 100), utf8Bytes("etwo"));
    EXPECT_EQ(handle->read(7, 1), Data());
    EXPECT_EQ(readText(path), "one");
  }
  EXPECT_EQ(readText(path), "one");
  const auto handle = files().openForUpdating(path);
  handle->truncate();
  handle->append(utf8Bytes("three"));
  EXPECT_TRUE(handle->synchronize());
  EXPECT_EQ(readText(path), "three");
  handle->append(Data(kLargestFileBytes));  // It could never be read back.
  EXPECT_FALSE(handle->synchronize());
  EXPECT_EQ(readText(path), "three");

  std::filesystem::resize_file(path, kLargestFileBytes + 1);
  const auto oversized = files().openForUpdating(path);
  EXPECT_EQ(oversized->sizeBytes(), 0U);
  oversized->append(utf8Bytes("four"));
  EXPECT_TRUE(oversized->synchronize());
  EXPECT_EQ(readText(path), "four");
}

TEST(Files, AWriteOverTheSizeLimitFailsWithoutKillingTheHost) {
  const TemporaryFolder folder;
  const std::string path = folder.file("file");
  writeText(path, "old");
  EXPECT_EQ(inChildProcess([&] {
              const rlimit limit{1000, 1000};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              if (files().writeAtomically(path, Data(1001))) return 1;
              return files().writeAtomically(folder.file("small"), Data(1000)) ? 0 : 2;
            }),
            0);
  EXPECT_EQ(readText(path), "old");
  EXPECT_EQ(folder.names(), (std::set<std::string>{"file", "small"}));
}

TEST(Files, AKilledWriterLeavesAWholeFileAndNothingThatPilesUp) {
  const TemporaryFolder folder;
  const std::string path = folder.file("file");
  for (int round = 0; round < 10; ++round) {
    const std::string before = readText(path);
    ChildProcess writer([&] {
      for (std::uint8_t byte = 0;; ++byte) files().writeAtomically(path, Data(50000, byte));
      return 0;
    });
    while (readText(path) == before) std::this_thread::yield();
    writer.kill();
    EXPECT_LT(writer.wait(), 0);
    const Data content = files().read(path).value();
    EXPECT_EQ(content, Data(50000, content.at(0)));
  }
  EXPECT_LE(folder.names().size(), 2U);
  EXPECT_TRUE(files().writeAtomically(path, {}));
  EXPECT_EQ(folder.names(), std::set<std::string>{"file"});
}

TEST(Files, ATemporaryNameThatIsTakenIsPassedOver) {
  const TemporaryFolder folder;
  sockaddr_un address{AF_UNIX, {}};
  folder.file(".zorfingerprint-0.tmp").copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  // Another user's, where this one may make it so.
  writeText(folder.file(".zorfingerprint-1.tmp"), "theirs");
  const bool foreign = ::chown(folder.file(".zorfingerprint-1.tmp").c_str(), 1, 1) == 0;
  EXPECT_TRUE(files().writeAtomically(folder.file("file"), utf8Bytes("ours")));
  EXPECT_EQ(readText(folder.file("file")), "ours");
  if (foreign) {
    EXPECT_EQ(readText(folder.file(".zorfingerprint-1.tmp")), "theirs");
  }
}

TEST(Files, TheLockBesideKeepsThreadsAndProcessesApart) {
  const TemporaryFolder folder;
  const std::string path = folder.file("count");
  writeText(path, "0");
  const auto countUp = [&] {
    for (int turn = 0; turn < 25; ++turn) {
      const auto lock = files().lockBeside(path);
      const int count = std::atoi(readText(path).c_str());
      files().writeAtomically(path, utf8Bytes(std::to_string(count + 1)));
    }
  };
  const auto twoThreads = [&] {
    std::thread other(countUp);
    countUp();
    other.join();
    return 0;
  };
  ChildProcess first(twoThreads);
  ChildProcess second(twoThreads);
  first.wait();
  second.wait();
  EXPECT_EQ(readText(path), "100");
  EXPECT_EQ(files().lockBeside(folder.file("missing/file")), nullptr);
}

TEST(Files, ALockEndsWithItsHolderThoughAChildOfTheHolderLives) {
  const TemporaryFolder folder;
  int gate[2];
  ASSERT_EQ(::pipe(gate), 0);
  EXPECT_EQ(inChildProcess([&] {
              const auto lock = files().lockBeside(folder.file("file"));
              if (::fork() == 0) {
                ::close(gate[1]);
                char ignored = 0;
                ::_exit(static_cast<int>(::read(gate[0], &ignored, 1)));
              }
              return lock != nullptr ? 0 : 1;
            }),
            0);
  EXPECT_NE(files().lockBeside(folder.file("file")), nullptr);
  ::close(gate[0]);
  ::close(gate[1]);
}

TEST(Files, FoldersComeFromTheEnvironmentOnlyWhenAbsolute) {
  EXPECT_EQ(inChildProcess([] {
              ::setenv("HOME", "/h", 1);
              ::setenv("XDG_DATA_HOME", "/data", 1);
              if (files().libraryDirectory() != "/data/zorfingerprint") return 1;
              ::setenv("XDG_DATA_HOME", "data", 1);
              if (files().libraryDirectory() != "/h/.local/share/zorfingerprint") return 2;
              ::setenv("HOME", "", 1);
              return files().homeDirectory().front() == '/' ? 0 : 3;
            }),
            0);
}

TEST(Files, HostileNamesBecomeDistinctNamesOfOneFile) {
  std::set<std::string> seen;
  const std::string longName(300, 'n');
  for (const std::string& name :
       {std::string(), std::string("."), std::string(".."), std::string("../x"), std::string("a/b"),
        std::string("a%2Fb"), std::string("%"), std::string("\0", 1), longName, longName + "1"}) {
    const std::string safe = safeFileName(name);
    EXPECT_TRUE(seen.insert(safe).second) << safe;
    EXPECT_EQ(safe.find('/'), std::string::npos);
    EXPECT_NE(safe.front(), '.');
    EXPECT_LE(safe.size(), 200U);
  }
  EXPECT_EQ(safeFileName("org.example.App-1_0"), "org.example.App-1_0");
}

}  // namespace
}  // namespace zor
