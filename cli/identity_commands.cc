#include <ZORFingerPrint/ZORFingerPrint.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/kept_values.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_store.h"

namespace zor::cli {
namespace {

// Whether the next run finds `identifier` in one of the places where it is looked for.
bool isOnDisk(const std::string& identifier) {
  const std::string slotKey = dfp_slot_key(literals::kIdentifierSlot.view());
  if (dfp_store_read(slotKey) == identifier) return true;
  const auto inDefaults = ports().defaults.objectForKey(slotKey);
  return inDefaults && inDefaults->text() != nullptr && *inDefaults->text() == identifier;
}

}  // namespace

int runVersion(bool json) {
  const std::string version = ZORFingerPrint::VERSION();
  const std::string platform = ZORFingerPrint::PLATFORM();
  if (json) {
    printJson(ZORValue::dictionary({{"version", version}, {"platform", platform}}));
  } else {
    std::cout << "zorfp " << version << " (" << platform << ")" << std::endl;
  }
  return kDone;
}

int runIdentifier() {
  const std::string identifier = ZORFingerPrint::identifier();
  std::cout << shown(identifier) << std::endl;
  if (isSeenByOtherProcesses([&identifier] { return isOnDisk(identifier); })) return kDone;
  printDiagnostic("The identifier could not be kept; the next run will have another.");
  return kFailed;
}

}  // namespace zor::cli
