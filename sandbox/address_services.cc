#include "sandbox/profile_words.h"
#include "sandbox/services.h"
#include "support/json_codec.h"

namespace zor::sandbox {

std::string httpDnsHeaderValue(const std::vector<std::string>& addresses) {
  std::string value;
  for (const std::string& address : addresses) {
    if (!value.empty()) value += words::kHttpDnsSeparator.view();
    value += address;
  }
  return value;
}

ServiceAnswer answerHttpDns(const SandboxSettings& settings, const std::string& host) {
  const auto known = settings.httpDnsAnswers.find(host);
  const std::vector<std::string>& addresses = known != settings.httpDnsAnswers.end() ? known->second
                                              : host == words::kHttpDnsHost.view()
                                                  ? settings.queryAddresses
                                                  : settings.serviceAddresses;
  ServiceAnswer answer;
  const std::string value = httpDnsHeaderValue(addresses);
  answer.headers.emplace_back(words::kHttpDnsAnswerHeader.str(), value);
  answer.verdict = "asks for " + host + ", gets " + value;
  answer.details = ZORValue::dictionary({{"host", host}, {"addresses", addresses}});
  return answer;
}

ServiceAnswer answerBackupList(const SandboxSettings& settings) {
  // The document travels as a text within the answer.
  const auto entry =
      ZORValue::dictionary({{words::kBackupAddressListKey.str(), settings.backupAddresses}});
  const auto list =
      ZORValue::dictionary({{words::kBackupEntriesKey.str(), ZORValue::array({entry})}});
  const auto document = ZORValue::dictionary({{words::kBackupListKey.str(), list}});
  ServiceAnswer answer;
  answer.headers.emplace_back("Content-Type", "application/json");
  answer.body = jsonForDisplay(ZORValue::array(
      {ZORValue::dictionary({{words::kBackupStatusKey.str(), words::kBackupStatusExpected.str()},
                             {words::kBackupDataKey.str(), jsonForDisplay(document)}})}));
  answer.verdict = "gets " + std::to_string(settings.backupAddresses.size()) + " backup addresses";
  answer.details = ZORValue::dictionary({{"addresses", settings.backupAddresses}});
  return answer;
}

}  // namespace zor::sandbox
