// What is disclosed about each entry of the report: the table of literals/report_entries.def in
// plain texts. For zorfp and for the generator of the documents; the library does not include it.
#ifndef ZOR_COLLECTOR_DISCLOSURE_H_
#define ZOR_COLLECTOR_DISCLOSURE_H_

#include <string_view>

namespace zor {

// Whom or what an entry identifies, alone or together with others; added with |.
constexpr unsigned kNobody = 0;
constexpr unsigned kDevice = 1;
constexpr unsigned kPerson = 2;
constexpr unsigned kPlace = 4;

struct Disclosure {
  std::string_view name;
  std::string_view says;
  std::string_view onLinux;  // Where it comes from.
  std::string_view onMacOS;
  std::string_view purpose;
  unsigned identifies;
  bool sealed;  // Inside the sealed block, not an entry of the report itself.
};

#define ZOR_ENTRY(entry, key, name, says, onLinux, onMacOS, identifies, purpose) \
  {name, says, onLinux, onMacOS, purpose, identifies, false},
#define ZOR_SEALED_ENTRY(entry, key, name, says, onLinux, onMacOS, identifies, purpose) \
  {name, says, onLinux, onMacOS, purpose, identifies, true},
// In the order of the report.
inline constexpr Disclosure kDisclosures[] = {
#include "literals/report_entries.def"
};
#undef ZOR_SEALED_ENTRY
#undef ZOR_ENTRY

// Whether every entry has all its texts.
consteval bool isComplete() {
  for (const Disclosure& row : kDisclosures) {
    if (row.name.empty() || row.says.empty() || row.purpose.empty()) return false;
    if (row.onLinux.empty() || row.onMacOS.empty()) return false;
  }
  return true;
}
static_assert(isComplete());

}  // namespace zor

#endif  // ZOR_COLLECTOR_DISCLOSURE_H_
