#include "transport/backup_list.h"

#include "literals/literals.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

// The value under `key`; null when there is none or `object` is no object.
const Json* member(const Json& object, const std::string& key) {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

const std::string* text(const Json* value) {
  return value == nullptr ? nullptr : value->get_ptr<const std::string*>();
}

}  // namespace

std::optional<std::string> documentInBackupAnswer(const Data& body) {
  const auto answer = parseJson(textOf(body));
  if (!answer || !answer->is_array() || answer->empty()) return std::nullopt;
  const Json& first = answer->front();
  const std::string* status = text(member(first, literals::kBackupStatusKey.str()));
  if (status == nullptr || *status != literals::kBackupStatusExpected.view()) return std::nullopt;
  const Json* document = member(first, literals::kBackupDataKey.str());
  if (document == nullptr || document->is_null()) return "";
  // A damaged answer must not cost the list that is kept.
  if (!document->is_string()) return std::nullopt;
  return *text(document);
}

std::vector<std::string> addressesInBackupDocument(std::string_view document) {
  std::vector<std::string> addresses;
  const auto parsed = parseJson(document);
  const Json* level = parsed ? member(*parsed, literals::kBackupFirstLevelKey.str()) : nullptr;
  if (level != nullptr) level = member(*level, literals::kBackupSecondLevelKey.str());
  if (level == nullptr || !level->is_array()) return addresses;
  for (const Json& entry : *level) {
    const Json* list = member(entry, literals::kBackupAddressListKey.str());
    if (list == nullptr || !list->is_array()) continue;
    for (const Json& address : *list) {
      if (address.is_string()) addresses.push_back(*text(&address));
    }
  }
  return addresses;
}

}  // namespace zor
