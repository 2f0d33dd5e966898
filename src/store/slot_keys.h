// The names under which the library keeps its values.
#ifndef ZOR_STORE_SLOT_KEYS_H_
#define ZOR_STORE_SLOT_KEYS_H_

#include <string>
#include <string_view>

namespace zor {

// The key of a slot piece, the same in the user defaults and in the store file. Callable from any
// thread.
std::string dfp_slot_key(std::string_view slotPiece);

}  // namespace zor

#endif  // ZOR_STORE_SLOT_KEYS_H_
