#include <iostream>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

#include "cli/awaited.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/pingback_file.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "support/json_codec.h"
#include "transport/ZORHttpsURLSession.h"

namespace zor::cli {
namespace {

// The records in the file; an empty array when it holds none or is damaged.
Json pendingRecords() {
  const auto text = GetPingbackStore()->readStr();
  auto records = text ? parseJson(*text) : std::nullopt;
  return records && records->is_array() ? *records : Json::array();
}

std::string field(const Json& record, const std::string& key) {
  const auto found = record.is_object() ? record.find(key) : record.end();
  return found == record.end() ? "-" : shown(*found);
}

void printRecords(const Json& records) {
  std::vector<std::vector<std::string>> rows{{"CLASS", "TYPE", "APPLICATION", "DESCRIPTION"}};
  for (const Json& record : records) {
    rows.push_back({field(record, literals::kPingbackErrorClassKey.str()),
                    field(record, literals::kPingbackErrorTypeKey.str()),
                    field(record, literals::kPingbackApplicationKey.str()) + " " +
                        field(record, literals::kPingbackApplicationVersionKey.str()),
                    field(record, literals::kPingbackErrorDescriptionKey.str())});
  }
  printTable(rows);
}

// What became of an upload. Response and error are absent unless one was started.
struct UploadResult {
  PingbackUpload start = PingbackUpload::notDue;
  std::size_t recordCount = 0;
  std::optional<URLResponse> response;
  std::optional<ZORError> error;

  bool failed() const {
    return start == PingbackUpload::started && !zor_isRequestSuccess(std::nullopt, response, error);
  }
};

using UploadEnd = std::pair<std::optional<URLResponse>, std::optional<ZORError>>;

UploadResult upload() {
  UploadResult result;
  result.recordCount = pendingRecords().size();
  const auto end = std::make_shared<Awaited<UploadEnd>>();
  result.start =
      GetPingbackStore()->checkIfNeedUpload([end](const auto& response, const auto& error) {
        end->deliver({response, error});
      });
  if (result.start != PingbackUpload::started) return result;
  std::tie(result.response, result.error) = end->wait("Uploading the failure records");
  static_cast<void>(GetPingbackStore()->readStr());  // Runs behind the writes of the outcome.
  return result;
}

int exitStatus(const UploadResult& result) {
  if (!result.failed()) return kDone;
  // With an error the answer is not complete, whatever status arrived.
  return result.response && !result.error ? kRefused : kTransport;
}

std::string outcomeOf(const UploadResult& result) {
  switch (result.start) {
    case PingbackUpload::notDue:
      return "not due";
    case PingbackUpload::nothingToSend:
      return "nothing to send";
    case PingbackUpload::started:
      break;
  }
  return result.failed() ? "failed" : "sent";
}

Json failedUploadAsJson(const std::string& problem) {
  return {{"outcome", "failed"}, {"records", 0}, {"status", nullptr}, {"error", problem}};
}

Json asJson(const UploadResult& result) {
  return {{"outcome", outcomeOf(result)},
          {"records", result.recordCount},
          {"status", result.response ? Json(result.response->statusCode) : Json()},
          {"error", result.error ? Json(result.error->localizedDescription) : Json()}};
}

void printForPeople(const UploadResult& result) {
  if (result.failed()) {
    const int status = result.response ? result.response->statusCode : 0;
    printDiagnostic("The upload failed: " + (result.error ? result.error->localizedDescription
                                                          : "status " + std::to_string(status)));
  } else if (result.start == PingbackUpload::started) {
    std::cout << "Uploaded " << result.recordCount << " records." << std::endl;
  } else if (result.start == PingbackUpload::nothingToSend) {
    std::cout << "Nothing to upload; the time of this look is recorded." << std::endl;
  } else {
    std::cout << "Not due: the last upload was tried less than a day ago." << std::endl;
  }
}

// `forPrograms`: what stands in the place of the usual JSON.
int reportProblem(const std::string& problem, const Json& forPrograms, bool json) {
  if (json) printJson(forPrograms);
  printDiagnostic(problem);
  return kFailed;
}

}  // namespace

int runPingbacksShow(bool json) {
  if (const auto problem = pingbackFileProblem()) return reportProblem(*problem, nullptr, json);
  const Json records = pendingRecords();
  if (json) {
    printJson(records);
  } else if (records.empty()) {
    std::cout << "No failure records." << std::endl;
  } else {
    printRecords(records);
  }
  return kDone;
}

int runPingbacksUpload(bool json) {
  // Before the look, which records its time and would have the records wait a day more.
  if (const auto problem = pingbackFileProblem()) {
    return reportProblem(*problem, failedUploadAsJson(*problem), json);
  }
  const UploadResult result = upload();
  if (json) {
    printJson(asJson(result));
  } else {
    printForPeople(result);
  }
  return exitStatus(result);
}

int runPingbacksClear(bool json) {
  if (const auto problem = pingbackFileProblem()) {
    return reportProblem(*problem, Json::object({{"cleared", false}}), json);
  }
  GetPingbackStore()->clearFileContent();
  // Runs behind the clearing. Not the text, which is absent too when the content is no UTF-8.
  const bool cleared = GetPingbackStore()->fileSize() == 0;
  if (json) {
    printJson({{"cleared", cleared}});
  } else if (cleared) {
    std::cout << "Cleared." << std::endl;
  } else {
    printDiagnostic("The file could not be cleared.");
  }
  return cleared ? kDone : kFailed;
}

}  // namespace zor::cli
