// Opens the sealed identity block of a report.
#ifndef ZOR_SANDBOX_UNSEALING_H_
#define ZOR_SANDBOX_UNSEALING_H_

#include <map>
#include <optional>
#include <string>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

struct UnsealedIdentity {
  ZORValue identity;                         // The seven entries.
  std::optional<std::string> bundleVersion;  // The one whose key fitted; absent: the host has none.
};

// The key of the block that a host with these values seals, 16 bytes. A missing bundle version or
// identifier takes part in the form in which the platform's formats show nil. Written independently
// of the client's, so that the two check each other.
std::string blockKey(const std::optional<std::string>& bundleVersion,
                     const std::optional<std::string>& bundleIdentifier,
                     const std::string& collectorVersion);

// The identity in `report`'s sealed entry; nullopt: there is none, or no known key opens it.
//
// The key needs the host's bundle version, which the report does not contain: it is looked up in
// `bundleVersions` by the report's bundle identifier; then tried as missing, and as equal to the
// report's own host value.
std::optional<UnsealedIdentity> unsealIdentity(
    const ZORValue& report, const std::map<std::string, std::string>& bundleVersions);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_UNSEALING_H_
