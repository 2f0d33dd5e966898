#include "transport/ZORHttpDnsConfig.h"

#include "literals/literals.h"
#include "support/text.h"

namespace zor {

ZORHttpDnsConfig ZORHttpDnsConfig::defaultConfig() {
  const std::string_view addresses = literals::kHttpDnsAddresses.view();
  if (addresses.empty()) return {"", {}};
  return {literals::kHttpDnsHost.str(), split(addresses, " ")};
}

}  // namespace zor
