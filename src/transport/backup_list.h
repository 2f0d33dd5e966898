// The documents of the backup-address service. Pure functions, callable from any thread; a document
// of any other shape is not an error but counts as empty.
#ifndef ZOR_TRANSPORT_BACKUP_LIST_H_
#define ZOR_TRANSPORT_BACKUP_LIST_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor {

// The document is kept in the user defaults, which every call that finds a cached fingerprint
// reads. The text comes from the service, so its size is limited: some thousands of addresses.
constexpr std::size_t kMaxBackupDocumentBytes = 64U << 10;

// The key in the user defaults under which the document is kept.
std::string backupAddressesKey();

// The document to keep from the service's answer; "": keep none. nullopt: the answer has no
// document, or one that is too long, so the kept one stays.
std::optional<std::string> documentInBackupAnswer(const Data& body);

// The addresses in a kept document, in its order, repeated ones included. Entries that are not IP
// addresses are left out: no request can be sent there. A document over kMaxBackupDocumentBytes
// gives none.
std::vector<std::string> addressesInBackupDocument(std::string_view document);

}  // namespace zor

#endif  // ZOR_TRANSPORT_BACKUP_LIST_H_
