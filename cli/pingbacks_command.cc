#include <iostream>
#include <memory>
#include <optional>
#include <tuple>

#include "cli/awaited_value.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/pending_records.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "session/ZORHttpsURLSession.h"
#include "support/json_codec.h"

namespace zor::cli {

PendingRecords pendingRecords() {
  const auto text = GetPingbackStore()->readStr();
  auto records = text ? valueFromJson(*text) : std::nullopt;
  return {records && records->isArray() ? *std::move(records) : ZORValue::array(), text.status()};
}

void printRecords(const ZORValue& records) {
  std::vector<std::vector<std::string>> rows{{"CLASS", "TYPE", "APPLICATION", "DESCRIPTION"}};
  for (const ZORValue& record : records.elements()) {
    rows.push_back({shown(record[literals::kPingbackErrorClassKey.view()]),
                    shown(record[literals::kPingbackErrorTypeKey.view()]),
                    shown(record[literals::kPingbackApplicationKey.view()]) + " " +
                        shown(record[literals::kPingbackApplicationVersionKey.view()]),
                    shown(record[literals::kPingbackErrorDescriptionKey.view()])});
  }
  printTable(rows);
}

namespace {

// The result of an upload.
struct UploadResult {
  std::size_t recordCount = 0;
  bool due = false;
  PingbackUpload upload;

  bool failed() const {
    return upload.sent && !zor_isRequestSuccess(std::nullopt, upload.response, upload.error);
  }
};

UploadResult upload(std::size_t recordCount) {
  UploadResult result{recordCount, false, {}};
  const auto end = std::make_shared<AwaitedValue<PingbackUpload>>();
  result.due = GetPingbackStore()->checkIfNeedUpload(
      [end](const PingbackUpload& upload) { end->deliver(upload); });
  if (!result.due) return result;
  result.upload = end->wait("Uploading the failure records");
  std::ignore = GetPingbackStore()->readStr();  // Runs after the upload's own writes.
  return result;
}

bool hasUploadService() { return !literals::kPingbackURL.view().empty(); }

int exitStatus(const UploadResult& result) {
  if (!result.failed()) return kDone;
  // With an error the answer is incomplete, whatever its status.
  return result.upload.response && !result.upload.error ? kRefused : kTransport;
}

std::string outcomeOf(const UploadResult& result) {
  if (!hasUploadService()) return "left out";
  if (!result.due) return "not due";
  if (!result.upload.sent) return "nothing to send";
  return result.failed() ? "failed" : "sent";
}

ZORValue failedUploadAsJson(const std::string& problem) {
  return ZORValue::dictionary(
      {{"outcome", "failed"}, {"records", 0}, {"status", nullptr}, {"error", problem}});
}

ZORValue asJson(const UploadResult& result) {
  const auto& [sent, response, error] = result.upload;
  return ZORValue::dictionary(
      {{"outcome", outcomeOf(result)},
       {"records", result.recordCount},
       {"status", response ? ZORValue(response->statusCode) : ZORValue()},
       {"error", error ? ZORValue(error->localizedDescription) : ZORValue()}});
}

void printForPeople(const UploadResult& result) {
  const auto& [sent, response, error] = result.upload;
  if (result.failed()) {
    const int status = response ? response->statusCode : 0;
    printDiagnostic("The upload failed: " +
                    (error ? error->localizedDescription : "status " + std::to_string(status)));
  } else if (sent) {
    std::cout << "Uploaded " << result.recordCount << " records." << std::endl;
  } else if (result.due) {
    std::cout << "Nothing to upload. The next upload is due in a day." << std::endl;
  } else if (!hasUploadService()) {
    std::cout << "The operator takes no failure records. They stay in their file." << std::endl;
  } else {
    std::cout << "Not due: the last upload was less than a day ago." << std::endl;
  }
}

// `forPrograms`: printed instead of the usual JSON.
int reportProblem(const Status& status, const ZORValue& forPrograms, bool json) {
  if (json) printJson(forPrograms);
  printDiagnostic("The failure records could not be read or changed: " + status.sentence() + ".");
  return kFailed;
}

}  // namespace

int runPingbacksShow(bool json) {
  const auto [records, status] = pendingRecords();
  if (!status.isSuccess()) return reportProblem(status, nullptr, json);
  if (json) {
    printJson(records);
  } else if (records.size() == 0) {
    std::cout << "No failure records." << std::endl;
  } else {
    printRecords(records);
  }
  return kDone;
}

int runPingbacksUpload(bool json) {
  // Before the upload, which would make the records wait another day.
  const auto [records, status] = pendingRecords();
  if (!status.isSuccess()) {
    return reportProblem(status, failedUploadAsJson(status.sentence()), json);
  }
  const UploadResult result = upload(records.size());
  if (json) {
    printJson(asJson(result));
  } else {
    printForPeople(result);
  }
  return exitStatus(result);
}

int runPingbacksClear(bool json) {
  const auto done = std::make_shared<AwaitedValue<Status>>();
  GetPingbackStore()->clearFileContent([done](const Status& status) { done->deliver(status); });
  const Status status = done->wait("Clearing the failure records");
  if (!status.isSuccess()) {
    return reportProblem(status, ZORValue::dictionary({{"cleared", false}}), json);
  }
  if (json) {
    printJson(ZORValue::dictionary({{"cleared", true}}));
  } else {
    std::cout << "Cleared." << std::endl;
  }
  return kDone;
}

}  // namespace zor::cli
