#include "sandbox/fault_text.h"

#include <gmock/gmock.h>

namespace zor::sandbox {
namespace {

TEST(FaultText, RouteAddressTimesAndArgumentAreRead) {
  std::string problem;
  const auto fault = readFault("backup-address@127.53.30.1*3=redirect:https://a/=b", problem);
  ASSERT_TRUE(fault) << problem;
  EXPECT_EQ(fault->match.route, Route::backupAddress);
  EXPECT_EQ(fault->match.address, "127.53.30.1");
  EXPECT_EQ(fault->uses, 3U);
  EXPECT_EQ(fault->script.status, 302);
  EXPECT_EQ(fault->script.headers, (std::vector<Header>{{"Location", "https://a/=b"}}));
  EXPECT_EQ(readFault("any=hang", problem)->match.route, std::nullopt);
  EXPECT_EQ(readFault("any=slow-reader:20", problem)->script.readPause.count(), 20);
}

TEST(FaultText, ProblemsAreNamed) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"name", "ROUTE=FAULT"},   {"nome=reset", "nome"},        {"name*0=reset", "\"0\""},
      {"name*2x=reset", "2x"},   {"name@8.8.8.8=reset", "8.8"}, {"name=status", "CODE"},
      {"name=status:99", "99"},  {"name=delay:-1", "-1"},       {"name=reset:now", "argument"},
      {"name=redirect:", "URL"}, {"name=length:-1", "-1"},
  };
  for (const auto& [text, named] : cases) {
    std::string problem;
    EXPECT_FALSE(readFault(text, problem)) << text;
    EXPECT_THAT(problem, ::testing::HasSubstr(named)) << text;
  }
}

}  // namespace
}  // namespace zor::sandbox
