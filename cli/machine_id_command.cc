#include <iostream>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/kept_values.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "support/text.h"
#include "udid/_OpenUDID.h"

namespace zor::cli {
namespace {

// This program's own copy.
std::optional<ZORValue> localCopy() {
  auto stored = ports().defaults.objectForKey(literals::kSharedIdentifierKey.str());
  return stored && stored->isDictionary() ? std::move(stored) : std::nullopt;
}

bool isChoiceOnDisk(bool optOut) {
  const auto local = localCopy();
  return local && (*local)[literals::kSharedOptOutKey.view()].isDate() == optOut;
}

ZORValue slotCopy(unsigned index) {
  const std::string name = formatText(literals::kSharedSlotNameFormat.view(),
                                      {literals::kSharedSlotPrefix.str(), std::to_string(index)});
  return _OpenUDID::_getDictFromPasteboard(ports().pasteboards.pasteboardWithName(name).get());
}

// Whether the next run finds `identifier`: in this program's copy, or without one in a slot. Any
// slot will do, for what was adopted or made is what most slots hold.
bool isIdentifierOnDisk(const std::string& identifier) {
  const std::string key = literals::kSharedIdentifierKey.str();
  if (const auto local = localCopy(); local && (*local)[key] == identifier) return true;
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    if (slotCopy(index)[key] == identifier) return true;
  }
  return false;
}

// False: the choice holds for this process alone.
bool choose(bool optOut) {
  _OpenUDID::_dfp_setOptOut(optOut);
  return isSeenByOtherProcesses([optOut] { return isChoiceOnDisk(optOut); });
}

bool hasOutcome(const ZORError& outcome, SharedIdentifierOutcome code) {
  return outcome.code == static_cast<std::int64_t>(code);
}

// The placeholder of who is opted out is made anew each time; that choice was found on the disk, or
// choose() has told of it.
bool isKept(const std::string& value, const ZORError& outcome) {
  return hasOutcome(outcome, SharedIdentifierOutcome::optedOut) ||
         isSeenByOtherProcesses([&value] { return isIdentifierOnDisk(value); });
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
  const bool choiceKept = !(options.optOut || options.optIn) || choose(options.optOut);
  ZORError outcome;
  const std::string value = _OpenUDID::_dfp_valueWithError(&outcome);
  print(value, outcome, options.json);
  const bool identifierKept = isKept(value, outcome);
  if (!choiceKept) printDiagnostic("The choice could not be kept.");
  if (!identifierKept) {
    printDiagnostic("The identifier could not be kept; the next run will have another.");
  }
  return choiceKept && identifierKept ? kDone : kFailed;
}

}  // namespace zor::cli
