// The integrity signal in two separate processes: one with a preloaded replacement, one
// with patched code.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "platform/linux/linux_ports.h"
#include "support/c_handles.h"

namespace zor {
namespace {

// Indexes in the backend's table.
constexpr std::int64_t kReadlinkBit = 1 << 6;
constexpr std::int64_t kRecvBit = 1 << 12;

// The two numbers as the probe dump prints them.
std::array<long long, 2> signalWith(const std::string& environment,
                                    const std::string& program = "zor_probe_dump") {
  const std::string command =
      environment + " " ZOR_TEST_BINARY_DIR "/bin/" + program + " | grep integritySignal";
  const std::unique_ptr<FILE, FreeWith<pclose>> pipe(::popen(command.c_str(), "r"));
  char line[512] = {};
  if (!pipe || std::fgets(line, sizeof line, pipe.get()) == nullptr) return {-1, -1};
  std::array<long long, 2> numbers{-1, -1};
  const char* list = std::strchr(line, '[');
  if (list != nullptr) std::sscanf(list, "[%lld,%lld]", &numbers[0], &numbers[1]);
  return numbers;
}

TEST(IntegritySignal, APreloadedReplacementIsSeenAndNothingElse) {
  // The second setting lets a sanitized program start with a library before its runtime.
  const auto plain = signalWith("");
  const auto preloaded =
      signalWith("ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" ZOR_TEST_BINARY_DIR
                 "/lib/libzor_replacement.so");
  EXPECT_EQ(plain[1], 0);
  EXPECT_EQ(preloaded[0], plain[0] | kReadlinkBit);
  EXPECT_EQ(preloaded[1], 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_EQ(plain[0], 0);
  const char* fixed = "zor_fixed_probe_dump";
  EXPECT_EQ(signalWith("", fixed)[0], 0) << "its own table of calls is no replacement";
  EXPECT_EQ(signalWith("LD_PRELOAD=" ZOR_TEST_BINARY_DIR "/lib/libzor_replacement.so", fixed)[0],
            kReadlinkBit);
#endif
}

// Changes one byte of a function that neither the signal nor the test calls. False: not allowed.
bool patch(void* function) {
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<std::uintptr_t>(function) & ~(page - 1);
  auto* pages = reinterpret_cast<void*>(start);
  if (::mprotect(pages, 2 * page, PROT_READ | PROT_WRITE | PROT_EXEC) != 0) return false;
  auto* last = static_cast<volatile unsigned char*>(function) + 31;
  *last = static_cast<unsigned char>(*last ^ 1);
  return true;
}

TEST(IntegritySignal, CodePatchedInMemoryIsSeen) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the name leads to the sanitizer's function";
#endif
  const pid_t child = ::fork();
  if (child == 0) {
    linuxIntegrityPort().enable();
    if (!patch(reinterpret_cast<void*>(&::recv))) ::_exit(77);
    ::_exit(linuxIntegrityPort().signal().changedCode == kRecvBit ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "code may not be made writable here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace zor
