#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/kept_values.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "udid/_OpenUDID.h"

namespace zor::cli {
namespace {

bool isChoiceOnDisk(bool optOut) {
  const auto stored = ports().defaults.objectForKey(literals::kSharedIdentifierKey.str());
  if (!stored || stored->dictionary() == nullptr) return false;
  return dateForKey(*stored->dictionary(), literals::kSharedOptOutKey.str()).has_value() == optOut;
}

// False: the choice holds for this process alone.
bool choose(bool optOut) {
  _OpenUDID::_dfp_setOptOut(optOut);
  return isSeenByOtherProcesses([optOut] { return isChoiceOnDisk(optOut); });
}

void print(const std::string& value, const ZORError& outcome, bool json) {
  if (json) {
    return printJson({{"identifier", value},
                      {"outcome", outcome.code},
                      {"description", outcome.localizedDescription}});
  }
  std::cout << shown(value) << std::endl;
  const bool worthSaying = outcome.code != static_cast<int>(SharedIdentifierOutcome::consistent);
  if (worthSaying) printDiagnostic(outcome.localizedDescription);
}

}  // namespace

int runMachineId(const MachineIdOptions& options) {
  const bool kept = !(options.optOut || options.optIn) || choose(options.optOut);
  ZORError outcome;
  const std::string value = _OpenUDID::_dfp_valueWithError(&outcome);
  print(value, outcome, options.json);
  if (!kept) printDiagnostic("The choice could not be kept.");
  return kept ? kDone : kFailed;
}

}  // namespace zor::cli
