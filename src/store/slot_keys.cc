#include "store/slot_keys.h"

#include "literals/literals.h"

namespace zor {

std::string dfp_slot_key(std::string_view slotPiece) {
  std::string key = literals::kSlotKeyPrefix.str();
  key.append(slotPiece);
  return key.append(literals::kSlotKeySuffix.view());
}

}  // namespace zor
