// Everything that a service or a damaged file can say in JSON.
#include "fingerprint/fingerprint_request.h"
#include "fuzz/fuzz_input.h"
#include "platform/linux/filed_values.h"
#include "support/json_codec.h"
#include "transport/backup_list.h"

namespace zor::fuzz {
namespace {

// A value that was read can be written, and reads back the same.
void readsBackAsWritten(const ZORValue& value) {
  const auto text = jsonFromValue(value);
  require(text.has_value());
  require(valueFromJson(*text) == value);
  const auto kept = valueFromFiled(value);
  if (kept) require(valueFromFiled(filedValue(*kept).value()) == kept);
}

}  // namespace
}  // namespace zor::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const zor::Data body(bytes, bytes + size);
  const std::string text = zor::fuzz::textOfInput(bytes, size);
  if (const auto value = zor::valueFromJson(text)) zor::fuzz::readsBackAsWritten(*value);

  zor::URLResponse response;
  response.statusCode = 200;
  const auto outcome = zor::judgeFingerprintAnswer(body, response, std::nullopt);
  zor::fuzz::require(outcome.success || outcome.fingerprint.empty());

  if (const auto document = zor::documentInBackupAnswer(body)) {
    zor::addressesInBackupDocument(*document);
  }
  zor::addressesInBackupDocument(text);
  return 0;
}
