// The sandbox's own certificate authority and the certificates that it presents, valid and invalid.
#ifndef ZOR_SANDBOX_CERTIFICATES_H_
#define ZOR_SANDBOX_CERTIFICATES_H_

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/sandbox_types.h"

struct ssl_st;  // OpenSSL's SSL

namespace zor::sandbox {

// Elliptic-curve keys (P-256), SHA-256. Nothing is reused from an earlier start. To be used by one
// thread at a time.
class CertificateAuthority {
 public:
  // `serviceNames`: what the ordinary certificate is for.
  explicit CertificateAuthority(std::vector<std::string> serviceNames);
  ~CertificateAuthority();
  CertificateAuthority(const CertificateAuthority&) = delete;
  CertificateAuthority& operator=(const CertificateAuthority&) = delete;

  // The trusted root in PEM.
  std::string rootPem() const;

  // Makes `connection` present a certificate of that kind, with its chain. `names` (host names and
  // IPv4 addresses) replace the kind's own unless empty. false: OpenSSL refuses.
  bool present(ssl_st* connection, Certificate kind, const std::vector<std::string>& names);

 private:
  struct Issuer;
  struct Leaf;

  std::unique_ptr<Leaf> makeLeaf(Certificate kind, const std::vector<std::string>& names) const;
  std::vector<std::string> namesOf(Certificate kind) const;

  std::vector<std::string> _serviceNames;
  std::unique_ptr<Issuer> _root;
  std::unique_ptr<Issuer> _intermediate;  // Under the root; the attacker's.
  std::unique_ptr<Issuer> _unknownRoot;
  std::map<std::pair<Certificate, std::vector<std::string>>, std::unique_ptr<Leaf>> _leaves;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_CERTIFICATES_H_
