#include <ZORFingerPrint/ZORFingerPrint.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/pending_records.h"
#include "cli/terminal.h"
#include "consent/consent.h"
#include "fingerprint/last_request.h"
#include "fingerprint/local_data.h"
#include "pingback/ZORSecPingbackStore.h"

namespace zor::cli {
namespace {

const char* answerText(ZORConsent consent) {
  switch (consent) {
    case ZORConsent::unknown:
      return "unknown";
    case ZORConsent::given:
      return "given";
    case ZORConsent::refused:
      return "refused";
  }
  return "";
}

// Without making the file.
PendingRecords waitingRecords() {
  return arePingbacksKept() ? pendingRecords() : PendingRecords{ZORValue::array(), {}};
}

ZORValue asJson(const std::optional<LastRequest>& last, const PendingRecords& waiting) {
  const LastRequest known = last.value_or(LastRequest());
  const Status& status = waiting.status;
  return ZORValue::dictionary(
      {{"askedAt", ZORValue::orNull(known.askedAt)},
       {"endedAt", ZORValue::orNull(known.endedAt)},
       {"outcome", ZORValue::orNull(known.outcome)},
       {"route", ZORValue::orNull(known.route)},
       {"waitingRecords", waiting.records},
       {"error", status.isSuccess() ? ZORValue() : ZORValue(status.sentence())}});
}

void printForPeople(const std::optional<LastRequest>& last, const ZORValue& records) {
  if (!last) {
    std::cout << "No record of a request by this program." << std::endl;
  } else {
    printTable({{"asked at", shownTime(last->askedAt)},
                {"ended at", shownTime(last->endedAt)},
                {"outcome", last->outcome.value_or("no answer yet")},
                {"route", last->route.value_or("-")}});
  }
  if (records.size() == 0) {
    std::cout << "No failure records are waiting." << std::endl;
  } else {
    printRecords(records);
  }
}

}  // namespace

int runConsent(std::optional<ZORConsent> answer, bool json) {
  const auto problem = answer ? ZORFingerPrint::setConsent(*answer) : std::nullopt;
  const char* const consent = answerText(ZORFingerPrint::consent());
  if (json) {
    printJson(ZORValue::dictionary(
        {{"consent", consent}, {"required", isConsentRequired()}, {"permitted", isPermitted()}}));
  } else {
    std::cout << "Consent: " << consent << (isConsentRequired() ? ", required" : ", not required")
              << (isPermitted() ? "" : "; nothing is collected, kept or sent") << std::endl;
  }
  if (problem) printDiagnostic(problem->localizedDescription + ".");
  return problem ? kFailed : kDone;
}

int runErase(bool dryRun, bool json) {
  const auto items = ZORFingerPrint::eraseLocalData(dryRun);
  const ZORValue list = erasureAsValue(items);
  bool complete = true;
  std::vector<std::vector<std::string>> rows{{"WHAT", "OUTCOME", "REMARK"}};
  for (const ZORValue& item : list.elements()) {
    const bool failed = item["reason"] != "";
    complete = complete && !failed;
    rows.push_back(
        {shown(item["item"]), shown(item["outcome"]), shown(item[failed ? "reason" : "note"])});
  }
  if (json) {
    printJson(list);
  } else {
    printFoldedTable(rows);
  }
  return complete ? kDone : kFailed;
}

int runLast(bool json) {
  const auto last = lastRequest();
  const PendingRecords waiting = waitingRecords();
  if (json) {
    printJson(asJson(last, waiting));
  } else {
    printForPeople(last, waiting.records);
  }
  if (waiting.status.isSuccess()) return kDone;
  printDiagnostic("The failure records cannot be read: " + waiting.status.sentence() + ".");
  return kFailed;
}

}  // namespace zor::cli
