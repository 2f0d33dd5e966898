// Every text that the library hides, named by role. The texts are in literals.def, in the
// platform's file and in the operator's profile; each is spelled out there once.
#ifndef ZOR_LITERALS_LITERALS_H_
#define ZOR_LITERALS_LITERALS_H_

#include <ZORFingerPrint/ZORVersion.h>

#include "literals/hidden_text.h"

namespace zor::literals {

// A different key for each text: a hash of its name (FNV-1a), never zero.
template <std::size_t Size>
consteval std::uint32_t keyForName(const char (&name)[Size]) {
  std::uint32_t hash = 2166136261U;
  for (const char character : name) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
  }
  return hash | 1U;
}

// NOLINTBEGIN(bugprone-macro-parentheses): the declared name cannot be in parentheses.
#define ZOR_LITERAL(name, text) \
  inline constinit HiddenText<sizeof(text)> name{text, keyForName(#name)};
// NOLINTEND(bugprone-macro-parentheses)
#define ZOR_LITERAL_OF_LENGTH(name, expectedLength, text)                      \
  static_assert(sizeof(text) - 1 == (expectedLength), #name ": wrong length"); \
  ZOR_LITERAL(name, text)

#include "literals/all_literals.def"

#undef ZOR_LITERAL_OF_LENGTH
#undef ZOR_LITERAL

}  // namespace zor::literals

#endif  // ZOR_LITERALS_LITERALS_H_
