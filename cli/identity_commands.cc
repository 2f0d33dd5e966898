#include <ZORFingerPrint/ZORFingerPrint.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "literals/labels.h"
#include "store/installation_identifier.h"

namespace zor::cli {
int runVersion(bool json) {
  const std::string version = ZORFingerPrint::VERSION();
  const std::string platform = ZORFingerPrint::PLATFORM();
  if (json) {
    printJson(ZORValue::dictionary(
        {{"version", version}, {"platform", platform}, {"profile", profileName()}}));
  } else {
    std::cout << "zorfp " << version << " (" << platform << "), profile " << profileName()
              << std::endl;
  }
  return kDone;
}

int runIdentifier() {
  const std::string identifier = ZORFingerPrint::identifier();
  std::cout << shown(identifier) << std::endl;
  const Status kept = installationIdentifierStatus();
  if (kept.isSuccess()) return kDone;
  printDiagnostic("The identifier could not be stored (" + kept.sentence() +
                  "). The next run will have another.");
  return kFailed;
}

}  // namespace zor::cli
