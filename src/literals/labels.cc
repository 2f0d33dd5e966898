#include "literals/labels.h"

#include "literals/literals.h"

namespace zor {

std::string platformLabel() { return literals::kPlatformLabel.str(); }

std::string versionLabel() { return literals::kVersionLabel.str(); }

std::string profileName() { return literals::kProfileName.str(); }

std::string nameInProfile(std::string name) {
  const std::string profile = profileName();
  if (profile != literals::kDefaultProfileName.view()) name += "." + profile;
  return name;
}

}  // namespace zor
