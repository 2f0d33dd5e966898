#include <ZORFingerPrint/ZORFingerPrint.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"

namespace zor::cli {

int runVersion(bool json) {
  const std::string version = ZORFingerPrint::VERSION();
  const std::string platform = ZORFingerPrint::PLATFORM();
  if (json) {
    printJson({{"version", version}, {"platform", platform}});
  } else {
    std::cout << "zorfp " << version << " (" << platform << ")" << std::endl;
  }
  return kDone;
}

int runIdentifier() {
  const std::string identifier = ZORFingerPrint::identifier();
  std::cout << shown(identifier) << std::endl;
  return identifier.empty() ? kFailed : kDone;
}

}  // namespace zor::cli
