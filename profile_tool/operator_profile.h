// An operator's profile as a value: read, checked and made. The rules stand in
// profiles/schema.json, which the CMake step reads too, and both refuse in the same words.
#ifndef ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_
#define ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::profile {

// An entry that every profile has, or that a route needs which can be left out.
struct ProfileEntry {
  std::string name;
  std::string role;  // What it is, for people.
  bool isList = false;
  bool isSecret = false;
};

// In the order of the schema. Made at the first call; callable from any thread.
const std::vector<ProfileEntry>& profileEntries();

// Every rule that `document`, a profile's JSON, breaks: a sentence each, with the entry, what it is
// and what was wanted. Keys and vectors are never shown. Empty: it is a profile.
std::vector<std::string> problemsOfProfile(const ZORValue& document);

// The entry's text; of a list the elements with a space between. Empty when the entry is left out.
std::string profileText(const ZORValue& document, std::string_view entry);

// The file's profile. nullopt: it cannot be read, is not JSON or breaks a rule; `problem` then says
// so, a line each.
std::optional<ZORValue> readProfile(const std::string& path, std::string& problem);

// The profile as it stands in a file, the entries in the order of the schema.
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

// Fresh keys and vectors, and a fresh signing key sealed with them; all else stays.
void rotateKeys(ZORValue& document, const RandomNumbers& random);

}  // namespace zor::profile

#endif  // ZOR_PROFILE_TOOL_OPERATOR_PROFILE_H_
