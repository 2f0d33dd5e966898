// The entries of a report by name, and those that the host withholds.
#ifndef ZOR_COLLECTOR_REPORT_ENTRIES_H_
#define ZOR_COLLECTOR_REPORT_ENTRIES_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

// One for each row of the table, in its order.
enum class Entry : unsigned {
#define ZOR_ENTRY(entry, ...) entry,
#define ZOR_SEALED_ENTRY(entry, ...) entry,
#include "literals/report_entries.def"
#undef ZOR_SEALED_ENTRY
#undef ZOR_ENTRY
};

// What hosts and people call it: "serial-number".
std::string entryName(Entry entry);
// Its key in the report or, for a sealed one, in the sealed block.
std::string entryKey(Entry entry);
bool isSealed(Entry entry);

// All of them, in the order of the report; the sealed ones last.
std::vector<Entry> allEntries();
std::optional<Entry> entryWithName(std::string_view name);
// The first name that contains `name`; otherwise the name that differs from it by the fewest
// letters.
std::string nearestEntryName(std::string_view name);

// Replaces the entries that this process withholds. Withholding the sealed block withholds
// everything in it. Callable from any thread; a collection under way may still see the earlier
// ones.
void setWithheldEntries(const std::vector<Entry>& entries);
bool isWithheld(Entry entry);
bool isAnyEntryWithheld();

}  // namespace zor

#endif  // ZOR_COLLECTOR_REPORT_ENTRIES_H_
