// The documents of the backup-address service. Pure functions, callable from any thread; documents
// of every other shape are no error, they hold nothing.
#ifndef ZOR_TRANSPORT_BACKUP_LIST_H_
#define ZOR_TRANSPORT_BACKUP_LIST_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

// The document to keep that the service's answer carries; "": keep none. nullopt: the answer says
// nothing, so what is kept stays.
std::optional<std::string> documentInBackupAnswer(const Data& body);

// The addresses in a kept document, in its order, repeated ones included; entries that are no text
// are left out.
std::vector<std::string> addressesInBackupDocument(std::string_view document);

}  // namespace zor

#endif  // ZOR_TRANSPORT_BACKUP_LIST_H_
