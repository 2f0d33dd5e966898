#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/exit_status.h"
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

// The end of an upload, handed from the transport's queue to the waiting command.
class UploadEnd {
 public:
  void put(std::optional<URLResponse> response, std::optional<ZORError> error) {
    const std::lock_guard<std::mutex> lock(_mutex);
    _response = std::move(response);
    _error = std::move(error);
    _ended = true;
    _changed.notify_all();
  }

  // Waits for it; the request has a time limit of its own.
  int printed(std::size_t recordCount) {
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] { return _ended; });
    if (zor_isRequestSuccess(std::nullopt, _response, _error)) {
      std::cout << "Uploaded " << recordCount << " records." << std::endl;
      return kDone;
    }
    printDiagnostic("The upload failed: " +
                    (_error ? _error->localizedDescription
                            : "status " + std::to_string(_response ? _response->statusCode : 0)));
    // With an error the answer is not complete, whatever status arrived.
    return _response && !_error ? kRefused : kTransport;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _ended = false;
  std::optional<URLResponse> _response;
  std::optional<ZORError> _error;
};

}  // namespace

int runPingbacksShow(bool json) {
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

int runPingbacksUpload() {
  const std::size_t recordCount = pendingRecords().size();
  const auto end = std::make_shared<UploadEnd>();
  switch (GetPingbackStore()->checkIfNeedUpload(
      [end](const auto& response, const auto& error) { end->put(response, error); })) {
    case PingbackUpload::notDue:
      std::cout << "Not due: the last upload was tried less than a day ago." << std::endl;
      return kDone;
    case PingbackUpload::nothingToSend:
      std::cout << "Nothing to upload; the time of this look is recorded." << std::endl;
      return kDone;
    case PingbackUpload::started:
      break;
  }
  const int status = end->printed(recordCount);
  static_cast<void>(GetPingbackStore()->readStr());  // Runs behind the writes of the outcome.
  return status;
}

int runPingbacksClear() {
  GetPingbackStore()->clearFileContent();
  const bool empty = !GetPingbackStore()->readStr();  // Runs behind the clearing.
  std::cout << (empty ? "Cleared." : "The file could not be cleared.") << std::endl;
  return empty ? kDone : kFailed;
}

}  // namespace zor::cli
