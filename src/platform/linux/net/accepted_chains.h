// Remembers which presented chains were found good, so that they need not be verified again.
#ifndef ZOR_PLATFORM_LINUX_NET_ACCEPTED_CHAINS_H_
#define ZOR_PLATFORM_LINUX_NET_ACCEPTED_CHAINS_H_

#include <cstddef>
#include <ctime>
#include <vector>

#include "platform/linux/net/c_handles.h"
#include "platform/url_loading_port.h"

namespace zor::net {

// Acceptances only: each refusal comes from a verification of its own.
//
// Verifying is a function of the chain, the policy, the roots and the time, as revocation is not
// asked about. Here the first two are compared whole, the time must be one at which every
// certificate that took part is valid, and the owner forgets all when the roots change. So an entry
// says what verifying would say. The bounds in number and age keep it small and short-lived.
class AcceptedChains {
 public:
  // Whether `presented` was accepted for exactly `policy` and would be at `now`.
  bool contains(STACK_OF(X509) * presented, const TrustPolicy& policy, std::time_t now) const;

  // `verified`: the chain that was built from `presented`, up to a root. In the place of the
  // oldest entry when there are many. Certificates whose times cannot be read are not remembered.
  void add(STACK_OF(X509) * presented, const TrustPolicy& policy, STACK_OF(X509) * verified,
           std::time_t now);

  void clear();

 private:
  struct Entry {
    CertificateChain presented;
    TrustPolicy policy;
    std::time_t firstSecond = 0;
    std::time_t endSecond = 0;  // No longer good from then on.
  };

  std::vector<Entry> _entries;
  std::size_t _oldest = 0;
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_ACCEPTED_CHAINS_H_
