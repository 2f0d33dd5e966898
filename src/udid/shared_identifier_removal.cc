#include "udid/shared_identifier_removal.h"

#include <string>
#include <utility>
#include <vector>

#include "literals/literals.h"
#include "platform/ports.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

// A slot is a copy of the dictionary of its application, which tells it from the others'.
bool isOwnSlot(const std::string& name, const ZORValue& copy) {
  const auto pasteboard = ports().pasteboards.pasteboardWithName(name);
  if (pasteboard == nullptr) return false;
  const auto content = pasteboard->dataForType(literals::kSharedPasteboardType.str());
  if (content.isUnreadable()) return copy[literals::kSharedSlotKey.view()] == name;
  const ZORValue slot = _OpenUDID::_getDictFromPasteboard(pasteboard.get());
  const ZORValue& application = slot[literals::kSharedApplicationKey.view()];
  return application.isText() && application == copy[literals::kSharedApplicationKey.view()];
}

std::vector<std::string> ownSlots() {
  std::vector<std::string> names;
  const auto copy = sharedIdentifierCopy();
  if (!copy) return names;
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    std::string name = sharedSlotName(index);
    if (isOwnSlot(name, *copy)) names.push_back(std::move(name));
  }
  return names;
}

}  // namespace

std::optional<ZORValue> sharedIdentifierCopy() {
  auto stored = ports().defaults.objectForKey(literals::kSharedIdentifierKey.str());
  return stored && stored->isDictionary() ? std::move(stored) : std::nullopt;
}

bool hasOwnSharedSlot() { return !ownSlots().empty(); }

Status clearOwnSharedSlots() {
  for (const std::string& name : ownSlots()) {
    const auto pasteboard = ports().pasteboards.pasteboardWithName(name);
    Status status = pasteboard->clear(literals::kSharedPasteboardType.str());
    if (!status.isSuccess()) return status;
  }
  return {};
}

Status removeSharedIdentifierCopy() {
  if (hasOwnSharedSlot()) {
    return Status::unusable("cannot remove the copy", "the slot that it names is still there");
  }
  Status status = ports().defaults.removeObject(literals::kSharedIdentifierKey.str());
  _OpenUDID::forgetProcessValue();
  return status;
}

}  // namespace zor
