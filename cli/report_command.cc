#include <ZORFingerPrint/ZORFingerPrint.h>

#include <iostream>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "collector/ZORDataCollector_mac.h"
#include "collector/disclosure.h"
#include "collector/report_entries.h"
#include "collector/sealed_block.h"
#include "literals/literals.h"

namespace zor::cli {
namespace {

// Replaces the sealed block by its content; false if it cannot be opened.
bool unseal(ZORValue& report) {
  const std::string* sealed = report[literals::kParamSealedBlockKey.view()].text();
  const auto opened = sealed != nullptr ? openSealedBlock(*sealed) : std::nullopt;
  return opened && report.set(literals::kParamSealedBlockKey.view(), *opened) != nullptr;
}

// One line for each entry; the entries of a dictionary follow it.
void addRows(const ZORValue& dictionary, const std::string& indent,
             std::vector<std::vector<std::string>>& rows) {
  for (const auto& [key, value] : dictionary.entries()) {
    if (value.isDictionary() && value.size() != 0) {
      rows.push_back({indent + shown(key), ""});
      addRows(value, indent + "  ", rows);
    } else {
      rows.push_back({indent + shown(key), shown(value)});
    }
  }
}

const char* outcomeText(EntryOutcome outcome) {
  switch (outcome) {
    case EntryOutcome::found:
      return "found";
    case EntryOutcome::absent:
      return "absent";
    case EntryOutcome::notPermitted:
      return "not permitted";
    case EntryOutcome::noAnswer:
      return "no answer in time";
    case EntryOutcome::unavailable:
      return "not available on this system";
    case EntryOutcome::withheld:
      return "withheld by the host";
  }
  return "";
}

ZORValue collect() {
  const StandardOutputToError redirected;
  return ZORDataCollector_mac().collect();
}

std::vector<EntryAccount> collectAccounts() {
  const StandardOutputToError redirected;
  std::vector<EntryAccount> accounts;
  ZORDataCollector_mac().collectWithAccounts(accounts);
  return accounts;
}

const Disclosure& disclosureOf(Entry entry) { return kDisclosures[static_cast<unsigned>(entry)]; }

bool isMasked(const EntryAccount& account, bool unsealed) {
  return isSealed(account.entry) && account.outcome == EntryOutcome::found && !unsealed;
}

ZORValue accountAsJson(const EntryAccount& account, bool unsealed) {
  const bool masked = isMasked(account, unsealed);
  return ZORValue::dictionary(
      {{"entry", entryKey(account.entry)},
       {"name", entryName(account.entry)},
       {"says", std::string(disclosureOf(account.entry).says)},
       {"sealed", isSealed(account.entry)},
       {"outcome", outcomeText(account.outcome)},
       {"microseconds", account.microseconds},
       {"sources", account.sources},
       {"masked", masked},
       {"value", isSealed(account.entry) && !unsealed ? ZORValue() : account.value}});
}

std::vector<std::string> accountAsRow(const EntryAccount& account, bool unsealed) {
  const bool isRead = account.outcome != EntryOutcome::withheld;
  const std::string source = account.sources.empty() ? "the library" : shown(account.sources);
  return {entryName(account.entry), outcomeText(account.outcome),
          isRead ? std::to_string(account.microseconds) + " us" : "-", isRead ? source : "-",
          isMasked(account, unsealed) ? "(sealed; --unseal shows it)" : shown(account.value)};
}

// The content of the last line.
struct Summary {
  std::size_t entries = 0;
  std::size_t found = 0;
  std::size_t withheld = 0;
  std::size_t late = 0;
  std::int64_t microseconds = 0;
  std::vector<std::string> rootWouldAdd;
};

// If entries are read together (the hardware addresses), only one counts for the time.
bool countsForTime(Entry entry) {
  return entry != Entry::firstInterface && entry != Entry::secondInterface &&
         entry != Entry::thirdInterface && entry != Entry::sealedBlock;
}

Summary summaryOf(const std::vector<EntryAccount>& accounts) {
  Summary summary;
  for (const EntryAccount& account : accounts) {
    ++summary.entries;
    if (account.outcome == EntryOutcome::found) ++summary.found;
    if (account.outcome == EntryOutcome::withheld) ++summary.withheld;
    if (account.outcome == EntryOutcome::noAnswer) ++summary.late;
    if (account.outcome == EntryOutcome::notPermitted) {
      summary.rootWouldAdd.push_back(entryName(account.entry));
    }
    if (countsForTime(account.entry)) summary.microseconds += account.microseconds;
  }
  return summary;
}

ZORValue asJson(const Summary& summary) {
  ZORValue rootWouldAdd = ZORValue::array();
  for (const std::string& name : summary.rootWouldAdd) rootWouldAdd.append(name);
  return ZORValue::dictionary({{"entries", summary.entries},
                               {"found", summary.found},
                               {"withheld", summary.withheld},
                               {"late", summary.late},
                               {"microseconds", summary.microseconds},
                               {"rootWouldAdd", rootWouldAdd}});
}

std::string sentence(const Summary& summary) {
  std::string text = std::to_string(summary.found) + " of " + std::to_string(summary.entries) +
                     " entries found in " + std::to_string(summary.microseconds) + " us";
  if (summary.withheld != 0) text += "; " + std::to_string(summary.withheld) + " withheld";
  if (summary.late != 0) text += "; " + std::to_string(summary.late) + " not answered in time";
  text += "; root would add ";
  if (summary.rootWouldAdd.empty()) return text + "nothing.";
  for (const std::string& name : summary.rootWouldAdd) {
    text += (&name == &summary.rootWouldAdd.front() ? "" : ", ") + name;
  }
  return text + ".";
}

int explain(const ReportOptions& options) {
  const auto accounts = collectAccounts();
  const Summary summary = summaryOf(accounts);
  if (options.json) {
    ZORValue list = ZORValue::array();
    for (const EntryAccount& account : accounts) {
      list.append(accountAsJson(account, options.unseal));
    }
    printJson(ZORValue::dictionary({{"entries", list}, {"summary", asJson(summary)}}));
    return kDone;
  }
  std::vector<std::vector<std::string>> rows{{"ENTRY", "OUTCOME", "TIME", "SOURCE", "VALUE"}};
  for (const EntryAccount& account : accounts) {
    rows.push_back(accountAsRow(account, options.unseal));
  }
  printFoldedTable(rows);
  std::cout << sentence(summary) << std::endl;
  return kDone;
}

// False: a name is unknown, and a message says so.
bool withhold(const std::vector<std::string>& names) {
  ZORConfig config;
  if (const auto error = config.setWithheldEntries(names)) {
    printDiagnostic(error->localizedDescription + ".");
    return false;
  }
  ZORFingerPrint::setWithConfig(config);
  return true;
}

}  // namespace

int runReport(const ReportOptions& options) {
  if (!withhold(options.withheld)) return kWrongUsage;
  if (options.explain) return explain(options);
  ZORValue report = collect();
  // A withheld block is null, and there is nothing to open.
  const bool opened = !options.unseal || isWithheld(Entry::sealedBlock) || unseal(report);
  if (options.json) {
    printJson(report);
  } else {
    std::vector<std::vector<std::string>> rows;
    addRows(report, "", rows);
    printTable(rows);
  }
  if (!opened) printDiagnostic("The sealed block could not be opened.");
  return opened ? kDone : kFailed;
}

}  // namespace zor::cli
