// Checks the operator's profile at compile time. The functions leave nothing in the library.
#include <ZORFingerPrint/ZORVersion.h>

#include <string_view>

#include "literals/signing_key_check.h"

namespace zor {
namespace {

#define ZOR_LITERAL(name, text) \
  [[maybe_unused]] consteval std::string_view name() { return text; }
#include "literals/profile_literals.def"
#undef ZOR_LITERAL

static_assert(signing_key::opens(kTextCipherKey(), kTextCipherVector(), kSigningKey()),
              "The profile's kSigningKey does not open with its kTextCipherKey and "
              "kTextCipherVector to printable ASCII. zorfp-profile makes a key that does.");

}  // namespace
}  // namespace zor
