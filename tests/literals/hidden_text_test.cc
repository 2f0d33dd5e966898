#include "literals/hidden_text.h"

#include <ZORFingerPrint/ZORVersion.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "crypto/text_cipher.h"
#include "literals/literals.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

struct TableEntry {
  const char* name;
  std::string text;
};

std::vector<TableEntry> clearTable() {
  return {
#define ZOR_LITERAL(name, text) {#name, text},
#define ZOR_LITERAL_OF_LENGTH(name, length, text) {#name, text},
#include "literals/all_literals.def"
#undef ZOR_LITERAL_OF_LENGTH
#undef ZOR_LITERAL
  };
}

std::string fileContent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Short texts occur in any binary by chance; they count only as a complete C string.
bool standsIn(const std::string& binary, const std::string& text) {
  constexpr std::size_t kTooShortToTell = 4;
  constexpr std::size_t kLong = 8;
  if (text.size() < kTooShortToTell) return false;
  if (text.size() >= kLong) return binary.find(text) != std::string::npos;
  return binary.find('\0' + text + '\0') != std::string::npos;
}

TEST(LiteralTable, NoTextIsReadableInTheStrippedLibrary) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the address sanitizer puts the names of variables into the library";
#endif
  const std::string folder = testing::makeTemporaryFolder();
  const std::string stripped = folder + "/stripped.so";
  const std::string command = ZOR_STRIP " -o " + stripped + " " ZOR_TEST_LIBRARY;
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string binary = fileContent(stripped);
  ASSERT_GT(binary.size(), 10000U);
  for (const TableEntry& entry : clearTable()) {
    // The names of entries are public; they are hidden because hidden words are parts of some.
    if (std::string(entry.name).rfind("ZOR_ENTRY_NAME", 0) == 0) continue;
    EXPECT_FALSE(standsIn(binary, entry.text)) << entry.name << ": " << entry.text;
  }
  std::filesystem::remove_all(folder);
}

TEST(HiddenText, ThreadsThatRevealAtOnceAllReadTheClearText) {
  for (int round = 0; round < 50; ++round) {
    // A new object in each round, so that no thread finds it revealed.
    const HiddenText<28> text{"a text that is long enough.", 12345U};
    std::array<std::string, 4> seen;
    std::vector<std::thread> threads;
    for (std::string& place : seen) threads.emplace_back([&place, &text] { place = text.str(); });
    for (std::thread& thread : threads) thread.join();
    for (const std::string& place : seen) EXPECT_EQ(place, "a text that is long enough.");
  }
}

TEST(HiddenText, TheChildOfAForkReadsTextsThatAThreadOfItsParentWasRevealing) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  for (int round = 0; round < 200; ++round) {
    const HiddenText<28> texts[] = {{"a text that is long enough.", 12345U},
                                    {"a text that is long enough.", 54321U}};
    std::atomic<bool> begun{false};
    std::thread revealing([&texts, &begun] {
      begun = true;
      for (const auto& text : texts) text.c_str();
    });
    while (!begun) {
    }
    EXPECT_EQ(testing::inChildProcess([&texts] {
                ::alarm(20);
                for (const auto& text : texts) {
                  if (text.view() != "a text that is long enough.") return 1;
                }
                return 0;
              }),
              0);
    revealing.join();
  }
}

#if defined(__linux__)  // Elsewhere a program may not scan itself in this way.

// The texts in the form that zor_scanned_host takes.
std::string inverted(std::string_view text) {
  std::string hex = " ";
  for (const char byte : text) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte) ^ 0xFFU);
    hex += digits;
  }
  return hex;
}

TEST(HiddenText, KeysAreGoneFromTheMemoryOfAHostAfterItsCall) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers map terabytes and keep freed memory";
#endif
  const testing::TemporaryFolder home;
  const auto found = [&home](const std::string& texts) {
    const std::string command =
        "HOME=" + home.path + " " ZOR_TEST_BINARY_DIR "/bin/zor_scanned_host" + texts;
    return WEXITSTATUS(std::system(command.c_str()));
  };
  const std::string signingKey =
      dfp_decrypt_text(literals::kSigningKey.str()).value_or("no such key");
  EXPECT_EQ(found(inverted(literals::kTextCipherKey.view()) +
                  inverted(literals::kTextCipherVector.view()) +
                  inverted(literals::kSealVector.view()) + inverted(signingKey)),
            0);
  EXPECT_EQ(found(inverted(literals::kFingerprintURL.view())), 1)
      << "The scan finds what is there.";
}

#endif

}  // namespace
}  // namespace zor
