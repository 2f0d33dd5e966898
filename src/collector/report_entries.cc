#include "collector/report_entries.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>

#include "literals/literals.h"

namespace zor {
namespace {

struct Row {
  std::string (*name)();
  std::string (*key)();
  Entry entry;
  bool sealed;
};

#define ZOR_ENTRY(entry, wireKey, ...)                                                           \
  {[] { return literals::ZOR_ENTRY_NAME(entry).str(); }, [] { return literals::wireKey.str(); }, \
   Entry::entry, false},
#define ZOR_SEALED_ENTRY(entry, wireKey, ...)                                                    \
  {[] { return literals::ZOR_ENTRY_NAME(entry).str(); }, [] { return literals::wireKey.str(); }, \
   Entry::entry, true},
constexpr Row kRows[] = {
#include "literals/report_entries.def"
};
#undef ZOR_SEALED_ENTRY
#undef ZOR_ENTRY

constexpr std::size_t kSealedEntries = static_cast<std::size_t>(
    std::count_if(std::begin(kRows), std::end(kRows), [](const Row& row) { return row.sealed; }));
// As the wire has them.
static_assert(std::size(kRows) - kSealedEntries == 23 && kSealedEntries == 7);
static_assert(std::size(kRows) <= std::numeric_limits<std::uint32_t>::digits);

// A bit for each entry. No lock: a fork may happen at any time.
std::atomic<std::uint32_t> withheldEntries{0};

constexpr std::uint32_t bitOf(Entry entry) {
  return std::uint32_t{1} << static_cast<unsigned>(entry);
}

const Row& rowOf(Entry entry) { return kRows[static_cast<unsigned>(entry)]; }

// The smallest number of letters to insert, remove or replace to turn one text into the other.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t index = 0; index < row.size(); ++index) row[index] = index;
  for (std::size_t line = 1; line <= from.size(); ++line) {
    std::size_t diagonal = row[0]++;
    for (std::size_t index = 1; index < row.size(); ++index) {
      const std::size_t replaced = diagonal + (from[line - 1] == to[index - 1] ? 0 : 1);
      diagonal = row[index];
      row[index] = std::min({row[index] + 1, row[index - 1] + 1, replaced});
    }
  }
  return row.back();
}

}  // namespace

std::string entryName(Entry entry) { return rowOf(entry).name(); }

std::string entryKey(Entry entry) { return rowOf(entry).key(); }

bool isSealed(Entry entry) { return rowOf(entry).sealed; }

std::vector<Entry> allEntries() {
  std::vector<Entry> entries;
  for (const Row& row : kRows) entries.push_back(row.entry);
  return entries;
}

std::optional<Entry> entryWithName(std::string_view name) {
  for (const Row& row : kRows) {
    if (row.name() == name) return row.entry;
  }
  return std::nullopt;
}

std::string nearestEntryName(std::string_view name) {
  constexpr std::size_t kMaxComparedLetters = 64;  // No name is that long.
  const std::string_view compared = name.substr(0, kMaxComparedLetters);
  std::string nearest;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const Row& row : kRows) {
    const std::string whole = row.name();
    // A part of a name is nearer than any other name, which may take fewer letters.
    const bool isPart = !compared.empty() && whole.find(compared) != std::string::npos;
    const std::size_t changes = isPart ? 0 : distance(compared, whole);
    if (changes >= fewest) continue;
    nearest = row.name();
    fewest = changes;
  }
  return nearest;
}

void setWithheldEntries(const std::vector<Entry>& entries) {
  std::uint32_t bits = 0;
  for (const Entry entry : entries) bits |= bitOf(entry);
  if ((bits & bitOf(Entry::sealedBlock)) != 0) {
    for (const Row& row : kRows) bits |= row.sealed ? bitOf(row.entry) : 0;
  }
  withheldEntries.store(bits);
}

bool isWithheld(Entry entry) { return (withheldEntries.load() & bitOf(entry)) != 0; }

bool isAnyEntryWithheld() { return withheldEntries.load() != 0; }

}  // namespace zor
