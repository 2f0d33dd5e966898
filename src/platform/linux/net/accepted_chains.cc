#include "platform/linux/net/accepted_chains.h"

#include <openssl/asn1.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace zor::net {
namespace {

constexpr std::size_t kMaxEntries = 16;
constexpr std::time_t kMaxAgeSeconds = 600;

std::optional<std::time_t> secondsOf(const ASN1_TIME* time) {
  std::tm parts{};
  if (ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
  return ::timegm(&parts);
}

// In the same order; each by the digest of the whole and by the bytes that its issuer signed.
bool isSameChain(STACK_OF(X509) * left, STACK_OF(X509) * right) {
  const int count = sk_X509_num(left);
  if (count != sk_X509_num(right)) return false;
  for (int index = 0; index < count; ++index) {
    if (X509_cmp(sk_X509_value(left, index), sk_X509_value(right, index)) != 0) return false;
  }
  return true;
}

}  // namespace

bool AcceptedChains::contains(STACK_OF(X509) * presented, const TrustPolicy& policy,
                              std::time_t now) const {
  return std::any_of(_entries.begin(), _entries.end(), [&](const Entry& entry) {
    return entry.firstSecond <= now && now < entry.endSecond &&
           entry.policy.serverHostName == policy.serverHostName &&
           isSameChain(entry.presented.get(), presented);
  });
}

void AcceptedChains::add(STACK_OF(X509) * presented, const TrustPolicy& policy,
                         STACK_OF(X509) * verified, std::time_t now) {
  // From now on, when all are valid: a clock that is set back asks for a verification.
  Entry entry{CertificateChain(X509_chain_up_ref(presented)), policy, now, now + kMaxAgeSeconds};
  if (entry.presented == nullptr) return;
  for (int index = 0; index < sk_X509_num(verified); ++index) {
    const auto end = secondsOf(X509_get0_notAfter(sk_X509_value(verified, index)));
    if (!end) return;
    entry.endSecond = std::min(entry.endSecond, *end);
  }
  if (_entries.size() < kMaxEntries) {
    _entries.push_back(std::move(entry));
    return;
  }
  _entries[_oldest] = std::move(entry);
  _oldest = (_oldest + 1) % kMaxEntries;
}

void AcceptedChains::clear() {
  _entries.clear();
  _oldest = 0;
}

}  // namespace zor::net
