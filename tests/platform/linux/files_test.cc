#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/lock_wait.h"
#include "platform/posix/file_io.h"
#include "support/text.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/eventually.h"
#include "tests/fakes/no_descriptors.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::ChildProcess;
using testing::inChildProcess;
using testing::readText;
using testing::TemporaryFolder;
using testing::writeText;

FilePort& files() { return linuxFilePort(); }

std::unique_ptr<FileHandle> open(const std::string& path) {
  return std::move(*files().openForUpdating(path));
}

bool isSuccess(const Status& status) { return status.isSuccess(); }

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST(Files, AreForTheUserAloneWhateverTheUmask) {
  const TemporaryFolder folder;
  EXPECT_EQ(inChildProcess([&] {
              ::umask(0777);
              std::vector<Status> made{files().createDirectories(folder.file("open/a"))};
              ::umask(0);
              made.push_back(files().createDirectories(folder.file("open/b")));
              made.push_back(files().writeAtomically(folder.file("open/written"), {1}));
              ::umask(0277);
              made.push_back(files().createFile(folder.file("open/created"), {}));
              return std::all_of(made.begin(), made.end(), isSuccess) ? 0 : 1;
            }),
            0);
  for (const char* name : {"open", "open/a", "open/b"}) {
    EXPECT_EQ(modeOf(folder.file(name)), 0700U) << name;
  }
  for (const char* name : {"open/written", "open/created"}) {
    EXPECT_EQ(modeOf(folder.file(name)), 0600U) << name;
  }
}

TEST(Files, OnlyRegularFilesAreReadWithoutWaitingOrFollowingLinks) {
  const TemporaryFolder folder;
  writeText(folder.file("elsewhere"), "precious");
  ASSERT_EQ(::mkfifo(folder.file("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("elsewhere", folder.file("link").c_str()), 0);
  ASSERT_EQ(::symlink("nowhere", folder.file("dangling").c_str()), 0);
  const std::string withNul = folder.file("elsewhere") + std::string("\0x", 2);
  for (const std::string& path : {folder.file("fifo"), folder.file("link"), folder.path,
                                  std::string("/dev/zero"), withNul, std::string()}) {
    EXPECT_FALSE(files().read(path)) << path;
    EXPECT_FALSE(files().read(path).isUnreadable()) << path;
    EXPECT_TRUE(files().openForUpdating(path).status().isUnusable()) << path;
  }
  EXPECT_TRUE(files().exists(folder.file("dangling")));
  EXPECT_EQ(files().createFile(folder.file("dangling"), {}).systemError(), EEXIST);
  EXPECT_TRUE(files().writeAtomically(withNul, {}).isUnusable());
  EXPECT_EQ(files().writeAtomically(folder.path, {}).sentence(),
            "cannot write " + folder.path + ": Is a directory");
  EXPECT_TRUE(files().writeAtomically(folder.file("link"), utf8Bytes("new")).isSuccess());
  EXPECT_EQ(readText(folder.file("link")), "new");
  EXPECT_EQ(readText(folder.file("elsewhere")), "precious");
  EXPECT_EQ(files().createDirectories(folder.file("elsewhere/below")).sentence(),
            "cannot create the folder " + folder.file("elsewhere") + ": Not a directory");
}

TEST(Files, AnUnreadableFileIsNotTakenForMissing) {
  const TemporaryFolder folder;
  writeText(folder.file("file"), "content");
  EXPECT_FALSE(files().read(folder.file("missing")).isUnreadable());
  EXPECT_FALSE(files().read(folder.file("file/below")).isUnreadable());
  ZOR_SKIP_WHERE_CHECKS_NEED_DESCRIPTORS();
  const testing::NoDescriptors shortage;
  EXPECT_TRUE(files().read(folder.file("file")).isUnreadable());
  EXPECT_EQ(files().openForUpdating(folder.file("file")).status().systemError(), EMFILE);
}

TEST(Files, NoFileTakesThePlaceOfAStandardStreamThatTheHostHasClosed) {
  const TemporaryFolder folder;
  writeText(folder.file("file"), "content");
  EXPECT_EQ(inChildProcess([&] {
              for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(stream);
              const auto lock = files().lockBeside(folder.file("file")).lock;
              const auto opened = openRegularFile(folder.file("file"), O_RDONLY);
              if (lock == nullptr || !opened) return 1;
              for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                if (::fcntl(stream, F_GETFD) != -1) return 2;
              }
              return 0;
            }),
            0);
}

TEST(Files, AHandleChangesTheFileAtSynchronizeOrNotAtAll) {
  const TemporaryFolder folder;
  const std::string path = folder.file("file");
  writeText(path, "one");
  {
    const auto handle = open(path);
    handle->append(utf8Bytes("two"));
    EXPECT_EQ(handle->read(2, 100), utf8Bytes("etwo"));
    EXPECT_EQ(handle->read(7, 1), Data());
    EXPECT_EQ(readText(path), "one");
  }
  EXPECT_EQ(readText(path), "one");
  const auto handle = open(path);
  handle->truncate();
  handle->append(utf8Bytes("three"));
  EXPECT_TRUE(handle->synchronize().isSuccess());
  EXPECT_EQ(readText(path), "three");
  handle->append(Data(kMaxFileBytes));  // Too large to be read back.
  EXPECT_TRUE(handle->synchronize().isUnusable());
  EXPECT_EQ(readText(path), "three");

  std::filesystem::resize_file(path, kMaxFileBytes + 1);
  const auto oversized = open(path);
  EXPECT_EQ(oversized->sizeBytes(), 0U);
  oversized->append(utf8Bytes("four"));
  EXPECT_TRUE(oversized->synchronize().isSuccess());
  EXPECT_EQ(readText(path), "four");
}

TEST(Files, AWriteOverTheSizeLimitFailsWithoutKillingTheHost) {
  const TemporaryFolder folder;
  const std::string path = folder.file("file");
  writeText(path, "old");
  EXPECT_EQ(inChildProcess([&] {
              const rlimit limit{1000, 1000};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              if (files().writeAtomically(path, Data(1001)).systemError() != EFBIG) return 1;
              return isSuccess(files().writeAtomically(folder.file("small"), Data(1000))) ? 0 : 2;
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
      for (std::uint8_t byte = 0;; ++byte) {
        std::ignore = files().writeAtomically(path, Data(50000, byte));
      }
      return 0;
    });
    EXPECT_TRUE(testing::eventually([&] { return readText(path) != before; }));
    writer.kill();
    EXPECT_LT(writer.wait(), 0);
    const Data content = *files().read(path);
    EXPECT_EQ(content, Data(50000, content.at(0)));
  }
  EXPECT_LE(folder.names().size(), 2U);
  EXPECT_TRUE(files().writeAtomically(path, {}).isSuccess());
  EXPECT_EQ(folder.names(), std::set<std::string>{"file"});
}

TEST(Files, ATemporaryNameThatIsTakenIsSkipped) {
  const TemporaryFolder folder;
  sockaddr_un address{AF_UNIX, {}};
  folder.file(".zorfingerprint-0.tmp").copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  // Owned by another user, if this user may change the owner.
  writeText(folder.file(".zorfingerprint-1.tmp"), "theirs");
  const bool foreign = ::chown(folder.file(".zorfingerprint-1.tmp").c_str(), 1, 1) == 0;
  EXPECT_TRUE(files().writeAtomically(folder.file("file"), utf8Bytes("ours")).isSuccess());
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
    const LockWaitBudget patience{std::chrono::minutes(1)};
    for (int turn = 0; turn < 25; ++turn) {
      const auto lock = files().lockBeside(path).lock;
      const int count = std::atoi(readText(path).c_str());
      std::ignore = files().writeAtomically(path, utf8Bytes(std::to_string(count + 1)));
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
  EXPECT_EQ(files().lockBeside(folder.file("missing/file")).status.systemError(), ENOENT);
}

TEST(Files, TheLocksOfOneCallWaitForAStoppedProcessAsLongAsItsBudgetInAll) {
  const TemporaryFolder folder;
  testing::StoppedProcess holder([&] {
    static auto& locks = *new std::vector<LockAttempt>;
    for (const char* name : {"a", "b"}) locks.push_back(files().lockBeside(folder.file(name)));
  });
  std::chrono::nanoseconds waited{0};
  {
    const LockWaitBudget budget(kMaxLockWaitOfCall, [&](auto duration) {
      waited += duration;
      return duration;
    });
    for (const char* name : {"a", "b", "a"}) {
      const LockWaitBudget ofAnInnerCall;
      const Status status = files().lockBeside(folder.file(name)).status;
      EXPECT_TRUE(status.isBusy());
      EXPECT_NE(status.reason().find("which is stopped, holds the lock"), std::string::npos)
          << status.sentence();
    }
    EXPECT_NE(files().lockBeside(folder.file("free")).lock, nullptr);
  }
  EXPECT_EQ(waited, kMaxLockWaitOfCall);
  const LockWaitBudget budget(std::chrono::hours(1), [&](auto duration) {
    holder.end();
    return duration;
  });
  EXPECT_NE(files().lockBeside(folder.file("a")).lock, nullptr) << "Freed while we waited.";
}

TEST(Files, ALockEndsWithItsHolderThoughAChildOfTheHolderLives) {
  const TemporaryFolder folder;
  int gate[2];
  ASSERT_EQ(::pipe(gate), 0);
  EXPECT_EQ(inChildProcess([&]() -> int {
              const auto lock = files().lockBeside(folder.file("file")).lock;
              if (::fork() == 0) {
                ::close(gate[1]);
                char ignored = 0;
                ::_exit(static_cast<int>(::read(gate[0], &ignored, 1)));
              }
              ::_exit(lock != nullptr ? 0 : 1);  // As one that is killed: it releases nothing.
            }),
            0);
  EXPECT_NE(files().lockBeside(folder.file("file")).lock, nullptr);
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
