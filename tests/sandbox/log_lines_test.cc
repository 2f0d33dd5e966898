#include "sandbox/log_lines.h"

#include <gmock/gmock.h>

#include "literals/literals.h"

namespace zor::sandbox {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(LogLines, ReportEntriesComeInTheirOrderAndUnknownOnesLast) {
  const std::vector<std::string> order = {
      literals::kParamKernelVersionKey.str(), literals::kParamModelKey.str(),
      literals::kParamCpuCountKey.str(), literals::kParamVersionKey.str(), "aNewEntry"};
  auto report = ZORValue::dictionary({{literals::kParamSealedBlockKey.str(), "c2VhbGVk"}});
  for (const std::string& key : order) report.set(key, "\x1b[2J");
  Received request;
  request.details = ZORValue::dictionary({{"report", report}});

  const std::string lines = linesForPeople(request);
  std::size_t at = 0;
  for (const std::string& key : order) {
    at = lines.find("\n    " + key + " ", at);
    ASSERT_NE(at, std::string::npos) << key << " is not in its place in\n" << lines;
  }
  EXPECT_THAT(lines, Not(HasSubstr("c2VhbGVk"))) << "The identity has rows of its own.";
  EXPECT_THAT(lines, Not(HasSubstr("\x1b"))) << "A client must not write to a reader's terminal.";
}

}  // namespace
}  // namespace zor::sandbox
