// Labels of this build: platform, version, operator. Layers below the collector use them directly.
#ifndef ZOR_LITERALS_LABELS_H_
#define ZOR_LITERALS_LABELS_H_

#include <string>

namespace zor {

// The platform label of the report: which system this library was built for.
std::string platformLabel();

// The collector's version; not the plain "1.0.0" of the block key derivation.
std::string versionLabel();

// The name of the operator's profile that this library was built for.
std::string profileName();

// Makes `name`, of a file or anything else that a user's applications share, specific to this
// profile, so that libraries of different operators do not collide: "<name>.<profile>", or `name`
// itself for the default profile.
std::string nameInProfile(std::string name);

}  // namespace zor

#endif  // ZOR_LITERALS_LABELS_H_
