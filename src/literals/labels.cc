#include "literals/labels.h"

#include "literals/literals.h"

namespace zor {

std::string platformLabel() { return literals::kPlatformLabel.str(); }

std::string versionLabel() { return literals::kVersionLabel.str(); }

}  // namespace zor
