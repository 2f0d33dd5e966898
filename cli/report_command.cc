#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "collector/ZORDataCollector_mac.h"
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

int explain(bool json) {
  ZORValue list = ZORValue::array();
  std::vector<std::vector<std::string>> rows{{"ENTRY", "OUTCOME", "TIME", "SOURCE"}};
  for (const EntryAccount& account : collectAccounts()) {
    list.append(ZORValue::dictionary({{"entry", account.entry},
                                      {"outcome", outcomeText(account.outcome)},
                                      {"microseconds", account.microseconds},
                                      {"sources", account.sources}}));
    rows.push_back({account.entry, outcomeText(account.outcome),
                    std::to_string(account.microseconds) + " us",
                    account.sources.empty() ? "the library" : shown(account.sources)});
  }
  if (json) {
    printJson(list);
  } else {
    printTable(rows);
  }
  return kDone;
}

}  // namespace

int runReport(const ReportOptions& options) {
  if (options.explain) return explain(options.json);
  ZORValue report = collect();
  const bool opened = !options.unseal || unseal(report);
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
