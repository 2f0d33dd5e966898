#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "udid/_OpenUDID.h"

namespace zor::cli {
namespace {

bool hasOutcome(const ZORError& outcome, SharedIdentifierOutcome code) {
  return outcome.code == static_cast<std::int64_t>(code);
}

void print(const std::string& value, const ZORError& outcome, bool json) {
  if (json) {
    return printJson(ZORValue::dictionary({{"identifier", value},
                                           {"outcome", outcome.code},
                                           {"description", outcome.localizedDescription}}));
  }
  std::cout << shown(value) << std::endl;
  if (!hasOutcome(outcome, SharedIdentifierOutcome::consistent)) {
    printDiagnostic(outcome.localizedDescription);
  }
}

}  // namespace

int runMachineId(const MachineIdOptions& options) {
  Status choice;
  if (options.optOut || options.optIn) {
    _OpenUDID::_dfp_setOptOut(options.optOut);
    choice = _OpenUDID::statusOfKeeping();
  }
  ZORError outcome;
  const std::string value = _OpenUDID::_dfp_valueWithError(&outcome);
  const Status kept = _OpenUDID::statusOfKeeping();
  print(value, outcome, options.json);
  if (!choice.isSuccess()) {
    printDiagnostic("The choice could not be stored (" + choice.sentence() + ").");
  }
  if (!kept.isSuccess()) {
    printDiagnostic("The identifier could not be stored (" + kept.sentence() +
                    "). The next run will have another.");
  }
  return choice.isSuccess() && kept.isSuccess() ? kDone : kFailed;
}

}  // namespace zor::cli
