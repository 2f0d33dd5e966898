// The documents of the backup-address service. Pure functions, callable from any thread; documents
// of every other shape are no error, they hold nothing.
#ifndef ZOR_TRANSPORT_BACKUP_LIST_H_
#define ZOR_TRANSPORT_BACKUP_LIST_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

// The user defaults hold the document, and with them every call that finds a cached fingerprint
// reads it. It is the service's text, so this bounds it: some thousands of addresses.
constexpr std::size_t kMaxBackupDocumentBytes = 64U << 10;

// The key in the user defaults under which the document is kept.
std::string backupAddressesKey();

// The document to keep that the service's answer carries; "": keep none. nullopt: the answer says
// nothing, or more than is kept, so what is kept stays.
std::optional<std::string> documentInBackupAnswer(const Data& body);

// The addresses in a kept document, in its order, repeated ones included. Entries that are not an
// IP address are left out: no request can be sent there. A document that is longer than one is kept
// holds none.
std::vector<std::string> addressesInBackupDocument(std::string_view document);

}  // namespace zor

#endif  // ZOR_TRANSPORT_BACKUP_LIST_H_
