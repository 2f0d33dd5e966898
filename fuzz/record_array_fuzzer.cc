// A damaged file of records: continuing it must give the same result as parsing it.
#include <ZORFingerPrint/ZORLog.h>

#include "fuzz/fuzz_input.h"
#include "pingback/record_array.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

ZORValue parsedArray(const std::string& text) {
  const auto parsed = valueFromJson(text);
  return parsed && parsed->isArray() ? *parsed : ZORValue::array();
}

void continuesAsIfParsed(const std::string& file, const ZORValue& record) {
  const auto continued = arrayWithRecord(file, record);
  if (!continued) return;
  ZORValue expected = parsedArray(file);
  expected.append(record);
  require(valueFromJson(*continued) == expected);
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
  if (zor::isCompactRecordArray(file)) zor::fuzz::require(zor::fuzz::parsedArray(file).size() != 0);
  zor::fuzz::continuesAsIfParsed(file, zor::ZORValue::dictionary({{"n", 1}, {"text", record}}));
  return 0;
}
