#include "collector/ZORDataCollector_mac.h"

#include <utility>

#include "collector/report_entries.h"
#include "literals/labels.h"
#include "platform/ports.h"

namespace zor {

void ZORDataCollector_mac::load() {
  ports().integrity.enable();
  static_cast<void>(N0000000001());
}

std::string ZORDataCollector_mac::PLATFORM() { return platformLabel(); }

std::string ZORDataCollector_mac::VERSION() { return versionLabel(); }

ZORValue ZORDataCollector_mac::collect() {
  _collect();
  return _params;
}

ZORValue ZORDataCollector_mac::collectWithAccounts(std::vector<EntryAccount>& accounts) {
  for (const ReportEntry& entry : reportEntries()) {
    _params.set(entry.key, accountedValue(
                               entry.key, [&entry] { return reportValue(entry); }, accounts));
  }
  for (EntryAccount& account : sealedBlockAccounts()) accounts.push_back(std::move(account));
  return _params;
}

void ZORDataCollector_mac::_collect() {
  for (const ReportEntry& entry : reportEntries()) _params.set(entry.key, reportValue(entry));
}

}  // namespace zor
