// An application with an embedded note; prints its own identity.
#include <cstdio>

#include "platform/linux/bundle_linux.h"
#include "support/json_codec.h"

int main() {
  const zor::BundleInfo bundle = zor::readMainBundle();
  std::printf("%s %s\n", bundle.identifier.value_or("-").c_str(),
              zor::jsonForDisplay(bundle.info).c_str());
}
