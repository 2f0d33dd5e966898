#include "transport/ZORHttpDnsConfig.h"

#include "literals/literals.h"

namespace zor {

ZORHttpDnsConfig ZORHttpDnsConfig::defaultConfig() {
  return {literals::kHttpDnsHost.str(),
          {literals::kHttpDnsFirstAddress.str(), literals::kHttpDnsSecondAddress.str(),
           literals::kHttpDnsThirdAddress.str(), literals::kHttpDnsFourthAddress.str(),
           literals::kHttpDnsFifthAddress.str()}};
}

}  // namespace zor
