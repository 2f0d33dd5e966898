// A record file that was damaged in any way: continuing it must come to the same as parsing it.
#include <ZORFingerPrint/ZORLog.h>

#include "fuzz/fuzz_input.h"
#include "pingback/record_array.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

Json parsedArray(const std::string& text) {
  const auto parsed = parseJson(text);
  return parsed && parsed->is_array() ? *parsed : Json::array();
}

void continuesAsIfParsed(const std::string& file, const Json& record) {
  const auto continued = arrayWithRecord(file, record);
  if (!continued) return;
  Json expected = parsedArray(file);
  expected.push_back(record);
  require(parseJson(*continued) == expected);
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  zor::ZORSetLogHandler([](const std::string& /*line*/) {});  // Each damaged file gets a line.
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto [file, record] = zor::fuzz::halvesOfInput(bytes, size);
  if (!zor::isValidUtf8(file) || !zor::isValidUtf8(record)) return 0;
  if (zor::isCompactRecordArray(file)) zor::fuzz::require(!zor::fuzz::parsedArray(file).empty());
  zor::fuzz::continuesAsIfParsed(file, {{"n", 1}, {"text", record}});
  return 0;
}
