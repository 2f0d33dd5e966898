#include "transport/backup_list.h"

#include "literals/literals.h"
#include "support/json_codec.h"
#include "support/text.h"
#include "support/url.h"

namespace zor {

std::string backupAddressesKey() {
  return literals::kSlotKeyPrefix.str() + literals::kBackupAddressesKeySuffix.str();
}

std::optional<std::string> documentInBackupAnswer(const Data& body) {
  const auto answer = valueFromJson(textOf(body));
  if (!answer) return std::nullopt;
  const ZORValue& first = (*answer)[0];
  if (first[literals::kBackupStatusKey.view()] != literals::kBackupStatusExpected.view()) {
    return std::nullopt;
  }
  const ZORValue& document = first[literals::kBackupDataKey.view()];
  if (document.isNull()) return "";
  // A damaged answer must not replace the kept list.
  if (!document.isText() || document.text()->size() > kMaxBackupDocumentBytes) return std::nullopt;
  return *document.text();
}

std::vector<std::string> addressesInBackupDocument(std::string_view document) {
  std::vector<std::string> addresses;
  if (document.size() > kMaxBackupDocumentBytes) return addresses;
  const ZORValue parsed = ZORValue::orNull(valueFromJson(document));
  const ZORValue& entries =
      parsed[literals::kBackupListKey.view()][literals::kBackupEntriesKey.view()];
  for (const ZORValue& entry : entries.elements()) {
    for (const ZORValue& address : entry[literals::kBackupAddressListKey.view()].elements()) {
      if (address.isText() && urlAddress(*address.text())) addresses.push_back(*address.text());
    }
  }
  return addresses;
}

}  // namespace zor
