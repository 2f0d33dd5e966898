// The texts of the operator's profile that the service speaks, named as in the library's own table.
// Until use() takes them from another profile, they are those that the program was built with.
#ifndef ZOR_SANDBOX_PROFILE_WORDS_H_
#define ZOR_SANDBOX_PROFILE_WORDS_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <string>
#include <string_view>
#include <utility>

#include "literals/literals.h"

namespace zor::sandbox::words {

class Word {
 public:
  explicit Word(std::string text) : _text(std::move(text)) {}
  std::string_view view() const { return _text; }
  const std::string& str() const { return _text; }
  void set(std::string text) { _text = std::move(text); }

 private:
  std::string _text;
};

// NOLINTBEGIN(bugprone-macro-parentheses): the declared name cannot be in parentheses.
#define ZOR_LITERAL(name, text) inline Word name{literals::name.str()};
// NOLINTEND(bugprone-macro-parentheses)
#include "literals/profile_literals.def"
#undef ZOR_LITERAL

// Takes the texts from `document`, a valid profile. Entries that it leaves out become empty. To be
// called while no service exists: the texts are read without a lock.
void use(const ZORValue& document);

}  // namespace zor::sandbox::words

#endif  // ZOR_SANDBOX_PROFILE_WORDS_H_
