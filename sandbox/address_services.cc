#include "literals/literals.h"
#include "sandbox/json_text.h"
#include "sandbox/services.h"

namespace zor::sandbox {

std::string httpDnsHeaderValue(const std::vector<std::string>& addresses) {
  std::string value;
  for (const std::string& address : addresses) {
    if (!value.empty()) value += literals::kHttpDnsSeparator.view();
    value += address;
  }
  return value;
}

ServiceAnswer answerHttpDns(const SandboxSettings& settings, const std::string& host) {
  const auto known = settings.httpDnsAnswers.find(host);
  const std::vector<std::string>& addresses = known != settings.httpDnsAnswers.end() ? known->second
                                              : host == literals::kHttpDnsHost.view()
                                                  ? settings.queryAddresses
                                                  : settings.serviceAddresses;
  ServiceAnswer answer;
  const std::string value = httpDnsHeaderValue(addresses);
  answer.headers.emplace_back(literals::kHttpDnsAnswerHeader.str(), value);
  answer.verdict = "asks for " + host + ", gets " + value;
  answer.details = {{"host", host}, {"addresses", addresses}};
  return answer;
}

ServiceAnswer answerBackupList(const SandboxSettings& settings) {
  // The document travels as a text within the answer.
  const Json document = {{literals::kBackupFirstLevelKey.str(),
                          {{literals::kBackupSecondLevelKey.str(),
                            Json::array({Json::object({{literals::kBackupAddressListKey.str(),
                                                        settings.backupAddresses}})})}}}};
  ServiceAnswer answer;
  answer.headers.emplace_back("Content-Type", "application/json");
  answer.body = compactText(Json::array(
      {Json::object({{literals::kBackupStatusKey.str(), literals::kBackupStatusExpected.str()},
                     {literals::kBackupDataKey.str(), compactText(document)}})}));
  answer.verdict = "gets " + std::to_string(settings.backupAddresses.size()) + " backup addresses";
  answer.details = {{"addresses", settings.backupAddresses}};
  return answer;
}

}  // namespace zor::sandbox
