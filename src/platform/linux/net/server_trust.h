// Judges the certificates that servers present.
#ifndef ZOR_PLATFORM_LINUX_NET_SERVER_TRUST_H_
#define ZOR_PLATFORM_LINUX_NET_SERVER_TRUST_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/net/c_handles.h"
#include "platform/url_loading_port.h"

namespace zor::net {

// The minimum for connections and chains, as one of OpenSSL's levels: keys of 112 bits of security,
// no SHA-1 signatures.
constexpr int kSecurityLevel = 2;

// A file or folder of roots. Compares unequal if it, or the set of entries in the folder, has
// changed.
struct RootSource {
  std::string path;
  // Device, inode, size, and the time of the last change; zeros where there is none.
  std::array<std::int64_t, 5> state{};

  bool operator==(const RootSource&) const = default;
  bool exists() const { return state != decltype(state){}; }
};

// Remembers which presented chains were accepted, so that they need not be verified again.
//
// Acceptances only: each refusal comes from a verification of its own.
//
// Verification depends on the chain, the policy, the roots and the time; revocation is not checked.
// Here the first two must match completely, every certificate involved must be valid at the time,
// and the owner clears the entries when the roots change. So an entry gives the same result as
// verifying would. Limits on number and age keep entries few and short-lived.
class AcceptedChains {
 public:
  // Whether `presented` was accepted for exactly `policy` and would be at `now`.
  bool contains(STACK_OF(X509) * presented, const TrustPolicy& policy, std::time_t now) const;

  // `verified`: the chain that was built from `presented`, up to a root. Replaces the oldest entry
  // if there are too many. Certificates whose times cannot be read are not remembered.
  void add(STACK_OF(X509) * presented, const TrustPolicy& policy, STACK_OF(X509) * verified,
           std::time_t now);

  void clear();

 private:
  struct Entry {
    CertificateChain presented;
    TrustPolicy policy;
    std::time_t firstSecond = 0;
    std::time_t endSecond = 0;  // Not accepted from then on.
  };

  std::vector<Entry> _entries;
  std::size_t _oldest = 0;
};

// The roots that this system trusts: OpenSSL's default file and folders, or those that
// SSL_CERT_FILE and SSL_CERT_DIR name. Confined to the loader's thread.
class SystemRoots {
 public:
  // Seconds since 1970.
  using Clock = std::function<std::time_t()>;

  explicit SystemRoots(Clock clock = [] { return std::time(nullptr); })
      : _clock(std::move(clock)) {}

  // The current roots, loaded again if the files or the variables have changed. Borrowed until the
  // next call; null: out of memory. A source that could not be read is tried again each time.
  X509_STORE* current();

  // A server is about to be asked for its chain: prepare() then checks the roots while the answer
  // is awaited.
  void expectChain() { _chainIsExpected = true; }
  void prepare();

  // The time at which chains are judged.
  std::time_t now() const { return _clock(); }

  // The chains accepted with the roots that current() returned last.
  AcceptedChains& accepted() { return _accepted; }

 private:
  const Clock _clock;
  std::vector<RootSource> _loadedFrom;  // Empty: not all sources could be read.
  CertificateStore _store;
  AcceptedChains _accepted;
  bool _chainIsExpected = false;
};

// A presented chain, judged against the system's roots. Keeps its certificates; may outlive the
// connection, but not the roots.
class PresentedChain final : public ServerTrust {
 public:
  // `presented`: the server's certificate first; may be null or empty. `policies`: at first.
  PresentedChain(SystemRoots& roots, STACK_OF(X509) * presented, std::vector<TrustPolicy> policies);

  // False for no policies and for a host name that is empty, has a NUL in it or starts with a dot:
  // none of those may match, however the policies are used afterwards.
  bool setPolicies(const std::vector<TrustPolicy>& policies) override;
  std::optional<TrustEvaluation> evaluate() override;
  bool credentialAvailable() override;

  // Why the policies or the chain were last refused; empty before that.
  const std::string& lastReason() const { return _lastReason; }

 private:
  std::optional<TrustEvaluation> evaluate(const TrustPolicy& policy);
  std::optional<TrustEvaluation> verify(X509_STORE* roots, const TrustPolicy& policy,
                                        std::time_t now);

  SystemRoots& _roots;
  const CertificateChain _chain;
  std::vector<TrustPolicy> _policies;
  std::string _lastReason;
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_SERVER_TRUST_H_
