// Only one platform's section of the literal table is compiled here; what the core takes from it
// must be in the other one too.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace zor {
namespace {

#define ZOR_LITERAL(name, text) #name,
#define ZOR_LITERAL_OF_LENGTH(name, expectedLength, text) #name,
const std::set<std::string> kNamesOnMac = {
#include "literals/literals.def"
#include "literals/literals_macos.def"
#include "literals/profile_literals.def"
};
#undef ZOR_LITERAL_OF_LENGTH
#undef ZOR_LITERAL

const std::filesystem::path kSources = std::filesystem::path(ZOR_TEST_DATA_DIR) / "../../src";

std::set<std::string> namesUsedIn(const std::filesystem::path& file) {
  std::ifstream stream(file);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  static const std::regex use("literals::(k\\w+)");
  std::set<std::string> names;
  for (std::sregex_iterator match(text.begin(), text.end(), use), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

TEST(PlatformTablesTest, EveryTextThatTheCoreUsesIsSpelledForMacOS) {
  std::set<std::string> missing;
  std::size_t used = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kSources)) {
    if (!entry.is_regular_file()) continue;
    if (entry.path().string().find("/platform/linux/") != std::string::npos) continue;
    for (const std::string& name : namesUsedIn(entry.path())) {
      ++used;
      if (kNamesOnMac.count(name) == 0) missing.insert(name);
    }
  }
  EXPECT_GT(used, 50U);
  EXPECT_EQ(missing, std::set<std::string>());
}

}  // namespace
}  // namespace zor
