// The system calls of a whole collection, as strace shows them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

bool runs(const std::string& command) { return std::system(command.c_str()) == 0; }

TEST(Collection, StartsNoProgramAndTalksOnlyToTheKernel) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' runtime starts threads of its own and cannot be traced";
#endif
  if (!runs("strace -o /dev/null true 2>/dev/null")) GTEST_SKIP() << "strace does not work here";
  const std::string folder = testing::makeTemporaryFolder();
  const std::string trace = folder + "/trace";
  ASSERT_TRUE(runs("HOME=" + folder + " strace -f -o " + trace +
                   " -e trace=execve,fork,vfork,clone,clone3,socket,connect,sendto " +
                   ZOR_TEST_BINARY_DIR "/bin/zor_probe_dump collect > /dev/null"));
  std::ifstream file(trace);
  std::string line;
  int programs = 0;
  int threads = 0;
  bool any = false;
  while (std::getline(file, line)) {
    any = true;
    if (line.find("execve(") != std::string::npos) ++programs;
    for (const char* call : {"fork(", "connect(", "AF_UNIX", "AF_INET"}) {
      EXPECT_EQ(line.find(std::string(" ") + call), std::string::npos) << line;
    }
    if (line.find("clone") == std::string::npos) continue;
    EXPECT_NE(line.find("CLONE_THREAD"), std::string::npos) << line;
    ++threads;
  }
  EXPECT_TRUE(any);
  EXPECT_EQ(programs, 1) << "the traced program itself";
  EXPECT_EQ(threads, 1) << "for all reads that a device can hold up";
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace zor
