#include "sandbox/certificates.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "sandbox/routes.h"
#include "support/c_handles.h"

namespace zor::sandbox {
namespace {

using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using X509Handle = std::unique_ptr<X509, FreeWith<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;
using BigNumber = std::unique_ptr<BIGNUM, FreeWith<BN_free>>;
using Memory = std::unique_ptr<BIO, FreeWith<BIO_free>>;

constexpr int kSerialBits = 120;
constexpr long kDay = 86400;
constexpr long kVersion3 = 2;  // Version 3 in the field's numbering.

Key makeKey() { return Key(EVP_EC_gen("P-256")); }

struct Validity {
  long fromSeconds = -kDay;  // Relative to now.
  long untilSeconds = 365 * kDay;
};

Validity validityOf(Certificate kind) {
  if (kind == Certificate::expired) return {-2 * kDay, -kDay};
  if (kind == Certificate::notYetValid) return {kDay, 2 * kDay};
  return {};
}

void setName(X509_NAME* name, const std::string& commonName) {
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>("zorfp-sandbox"), -1, -1, 0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0);
}

void addExtension(X509* subject, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, subject, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  if (extension) X509_add_ext(subject, extension.get(), -1);
}

// A certificate with names, key, time and serial number; without extensions and signature.
X509Handle makeCertificate(EVP_PKEY* key, const std::string& commonName, const X509* issuer,
                           const Validity& validity) {
  X509Handle certificate(X509_new());
  X509_set_version(certificate.get(), kVersion3);
  const BigNumber serial(BN_new());
  BN_rand(serial.get(), kSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY);
  BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate.get()));
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), validity.fromSeconds);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validity.untilSeconds);
  setName(X509_get_subject_name(certificate.get()), commonName);
  X509_set_issuer_name(certificate.get(),
                       X509_get_subject_name(issuer != nullptr ? issuer : certificate.get()));
  X509_set_pubkey(certificate.get(), key);
  return certificate;
}

std::string alternativeNames(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    if (!list.empty()) list += ',';
    list += (isIPv4Address(name) ? "IP:" : "DNS:") + name;
  }
  return list;
}

}  // namespace

struct CertificateAuthority::Issuer {
  // `parent` signs; nullptr: a root.
  Issuer(const std::string& commonName, const Issuer* parent) : key(makeKey()) {
    X509* const issuer = parent != nullptr ? parent->certificate.get() : nullptr;
    certificate = makeCertificate(key.get(), commonName, issuer, {});
    X509* const own = certificate.get();
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(own, own, NID_subject_key_identifier, "hash");
    X509_sign(own, parent != nullptr ? parent->key.get() : key.get(), EVP_sha256());
  }

  Key key;
  X509Handle certificate;
};

struct CertificateAuthority::Leaf {
  Key key;
  X509Handle certificate;
  X509* intermediate = nullptr;  // Sent with the certificate; owned by the authority.
};

CertificateAuthority::CertificateAuthority(std::vector<std::string> serviceNames)
    : _serviceNames(std::move(serviceNames)),
      _root(std::make_unique<Issuer>("Sandbox root", nullptr)),
      _intermediate(std::make_unique<Issuer>("Sandbox intermediate", _root.get())),
      _unknownRoot(std::make_unique<Issuer>("Unknown root", nullptr)) {}

CertificateAuthority::~CertificateAuthority() = default;

std::string CertificateAuthority::rootPem() const {
  const Memory memory(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(memory.get(), _root->certificate.get());
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(size)};
}

std::vector<std::string> CertificateAuthority::namesOf(Certificate kind) const {
  if (kind == Certificate::wrongName) return {"wrong-name.localhost"};
  if (kind == Certificate::attacker) return {"attacker.example", "*.attacker.example"};
  return _serviceNames;
}

std::unique_ptr<CertificateAuthority::Leaf> CertificateAuthority::makeLeaf(
    Certificate kind, const std::vector<std::string>& names) const {
  const Issuer* issuer = _root.get();
  if (kind == Certificate::attacker) issuer = _intermediate.get();
  if (kind == Certificate::unknownRoot) issuer = _unknownRoot.get();
  if (kind == Certificate::selfSigned) issuer = nullptr;

  auto leaf = std::make_unique<Leaf>();
  leaf->key = makeKey();
  X509* const signer = issuer != nullptr ? issuer->certificate.get() : nullptr;
  leaf->certificate = makeCertificate(leaf->key.get(), names.empty() ? "none" : names.front(),
                                      signer, validityOf(kind));
  X509* const own = leaf->certificate.get();
  X509* const authority = signer != nullptr ? signer : own;
  addExtension(own, authority, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(own, authority, NID_key_usage, "critical,digitalSignature");
  addExtension(own, authority, NID_ext_key_usage, "serverAuth");
  addExtension(own, authority, NID_subject_key_identifier, "hash");
  addExtension(own, authority, NID_authority_key_identifier, "keyid");
  addExtension(own, authority, NID_subject_alt_name, alternativeNames(names));
  X509_sign(own, issuer != nullptr ? issuer->key.get() : leaf->key.get(), EVP_sha256());
  if (kind == Certificate::attacker) leaf->intermediate = signer;
  return leaf;
}

bool CertificateAuthority::present(ssl_st* connection, Certificate kind,
                                   const std::vector<std::string>& names) {
  const std::vector<std::string> used = names.empty() ? namesOf(kind) : names;
  std::unique_ptr<Leaf>& leaf = _leaves[{kind, used}];
  if (!leaf) leaf = makeLeaf(kind, used);
  if (SSL_use_certificate(connection, leaf->certificate.get()) != 1 ||
      SSL_use_PrivateKey(connection, leaf->key.get()) != 1) {
    return false;
  }
  return leaf->intermediate == nullptr || SSL_add1_chain_cert(connection, leaf->intermediate) == 1;
}

}  // namespace zor::sandbox
