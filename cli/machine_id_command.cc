#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "udid/_OpenUDID.h"

namespace zor::cli {

int runMachineId(const MachineIdOptions& options) {
  if (options.optOut) _OpenUDID::_dfp_setOptOut(true);
  if (options.optIn) _OpenUDID::_dfp_setOptOut(false);
  ZORError outcome;
  const std::string value = _OpenUDID::_dfp_valueWithError(&outcome);
  if (options.json) {
    printJson({{"identifier", value},
               {"outcome", outcome.code},
               {"description", outcome.localizedDescription}});
    return kDone;
  }
  std::cout << shown(value) << std::endl;
  const bool worthSaying = outcome.code != static_cast<int>(SharedIdentifierOutcome::consistent);
  if (worthSaying) printDiagnostic(outcome.localizedDescription);
  return kDone;
}

}  // namespace zor::cli
