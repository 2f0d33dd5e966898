// An operator's profile as a value: read, checked and made. The rules are in profiles/schema.json,
// which the CMake step reads too; both report errors in the same words.
#ifndef ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_
#define ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::profile {

// An entry that every profile has, or one that only an optional route needs.
struct ProfileEntry {
  std::string name;
  std::string role;  // What it is, for people.
  bool isList = false;
  bool isSecret = false;
};

// In the order of the schema. Made at the first call; callable from any thread.
const std::vector<ProfileEntry>& profileEntries();

// The rules that `document`, a profile's JSON, breaks: one sentence for each, with the entry, its
// value and what was wanted. Keys and vectors are never shown. Empty: the profile is valid.
std::vector<std::string> problemsOfProfile(const ZORValue& document);

// The entry's text, or a list's elements separated by spaces. Empty if the entry is left out.
std::string profileText(const ZORValue& document, std::string_view entry);

// The file's profile. nullopt: it cannot be read, is not JSON or breaks rules; `problem` then says
// so, one line for each.
std::optional<ZORValue> readProfile(const std::string& path, std::string& problem);

// The profile as text for a file, with the entries in the order of the schema.
std::string textOfProfile(const ZORValue& document);

// Where the services of a new profile are. Empty texts: derived from the service's URL.
struct NewProfile {
  std::string name;
  std::string service;  // An https URL; without a path it gets the default profile's.
  std::string backup;
  std::string pingback;
  bool withoutBackup = false;
  bool withoutPingback = false;
  std::string httpDnsHost;
  std::vector<std::string> httpDnsAddresses;  // None: HTTPDNS is off.
};

// A uniform 32-bit random number fit for keys.
using RandomNumbers = std::function<std::uint32_t()>;

// A profile with fresh keys and the default profile's wire words. Not checked.
ZORValue makeProfile(const NewProfile& wishes, const RandomNumbers& random);

// Replaces the keys and vectors, and the signing key, which is sealed with them; all else stays.
void rotateKeys(ZORValue& document, const RandomNumbers& random);

}  // namespace zor::profile

#endif  // ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_
