#include "sandbox/profile_words.h"

#include "profile_tool/operator_profile.h"

namespace zor::sandbox::words {

void use(const ZORValue& document) {
#define ZOR_LITERAL(name, text) name.set(profile::profileText(document, #name));
#include "literals/profile_literals.def"
#undef ZOR_LITERAL
  kProfileName.set(document["name"].text() != nullptr ? *document["name"].text() : "");
}

}  // namespace zor::sandbox::words
