#include <string_view>

#include "sandbox/profile_words.h"
#include "sandbox/services.h"
#include "support/json_codec.h"

namespace zor::sandbox {
namespace {

// What is wrong with a record; empty: nothing.
std::string faultOfRecord(const ZORValue& record) {
  if (!record.isDictionary()) return "is not an object";
  for (const std::string_view key :
       {words::kPingbackLibraryKey.view(), words::kPingbackLibraryVersionKey.view(),
        words::kPingbackSystemKey.view(), words::kPingbackApplicationKey.view(),
        words::kPingbackApplicationVersionKey.view(), words::kPingbackFingerprintKey.view(),
        words::kPingbackErrorTypeKey.view(), words::kPingbackErrorDescriptionKey.view()}) {
    if (!record[key].isText()) return "lacks the text " + std::string(key);
  }
  if (!record[words::kPingbackErrorClassKey.view()].integer()) return "lacks the class";
  constexpr std::size_t kEntries = 9;
  return record.size() == kEntries ? "" : "has entries beyond the nine";
}

ServiceAnswer badUpload(int status, const std::string& reason) {
  ServiceAnswer answer;
  answer.status = status;
  answer.verdict = "bad upload: " + reason;
  return answer;
}

}  // namespace

ServiceAnswer answerPingback(const std::string& method, const std::string& body) {
  if (method != words::kPingbackMethod.view()) {
    return badUpload(kWrongMethod, "method " + method);
  }
  const std::string_view prefix = words::kPingbackBodyPrefix.view();
  if (body.compare(0, prefix.size(), prefix) != 0) return badUpload(kBadRequest, "no prefix");
  const auto json = valueFromJson(std::string_view(body).substr(prefix.size()));
  if (!json || !json->isArray()) return badUpload(kBadRequest, "not a JSON array");
  const ZORValue& records = *json;
  ServiceAnswer answer;
  answer.details = ZORValue::dictionary({{"records", records}});
  for (std::size_t index = 0; index < records.size(); ++index) {
    const std::string fault = faultOfRecord(records[index]);
    if (fault.empty()) continue;
    answer.status = kBadRequest;
    answer.verdict = "bad upload: record " + std::to_string(index) + " " + fault;
    return answer;
  }
  answer.verdict = std::to_string(records.size()) + " records taken";
  return answer;
}

}  // namespace zor::sandbox
