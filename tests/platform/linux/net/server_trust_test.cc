#include "platform/linux/net/server_trust.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "sandbox/certificates.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/no_descriptors.h"

namespace zor::net {
namespace {

using sandbox::Certificate;
using sandbox::CertificateAuthority;

constexpr const char* kServed = "served.example";
constexpr std::time_t kDay = 86400;

// The chain that `authority` presents to a client.
CertificateChain chainOf(CertificateAuthority& authority, Certificate kind) {
  const std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>> context(SSL_CTX_new(TLS_server_method()));
  const std::unique_ptr<SSL, FreeWith<SSL_free>> connection(SSL_new(context.get()));
  EXPECT_TRUE(authority.present(connection.get(), kind, {kServed}));
  STACK_OF(X509)* further = nullptr;
  SSL_get0_chain_certs(connection.get(), &further);
  CertificateChain chain(further != nullptr ? X509_chain_up_ref(further) : sk_X509_new_null());
  X509* const leaf = SSL_get_certificate(connection.get());
  X509_up_ref(leaf);
  sk_X509_insert(chain.get(), leaf, 0);
  return chain;
}

// One authority's root is trusted. Each question is put to a trust of its own, as each request's
// is.
class ServerTrustAgain : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("SSL_CERT_DIR", "/nonexistent", 1);
    trust(authority);
  }
  void TearDown() override {
    ::unsetenv("SSL_CERT_FILE");
    ::unsetenv("SSL_CERT_DIR");
    std::filesystem::remove_all(_folder);
  }

  void trust(const CertificateAuthority& trusted) {
    const std::string file = _folder + "/roots" + std::to_string(++_files);
    std::ofstream(file) << trusted.rootPem();
    ::setenv("SSL_CERT_FILE", file.c_str(), 1);
  }

  bool accepts(const CertificateChain& chain, const std::optional<std::string>& host = kServed) {
    PresentedChain presented(_roots, chain.get(), {{host}});
    const auto evaluation = presented.evaluate();
    return evaluation && evaluation->result == TrustResult::unspecified;
  }

  CertificateAuthority authority{{kServed}};
  std::time_t now = std::time(nullptr);

 private:
  const std::string _folder = testing::makeTemporaryFolder();
  int _files = 0;
  SystemRoots _roots{[this] { return now; }};
};

TEST_F(ServerTrustAgain, AnAcceptedChainIsAcceptedForTheSameQuestionOnly) {
  const auto chain = chainOf(authority, Certificate::ordinary);
  ASSERT_TRUE(accepts(chain));
  EXPECT_TRUE(accepts(chain));
  EXPECT_FALSE(accepts(chain, "other.example"));
  EXPECT_FALSE(accepts(chain, ""));
  // Judging the chain alone and judging it for a host are different questions, both ways.
  ASSERT_TRUE(accepts(chain, std::nullopt));
  EXPECT_FALSE(accepts(chain, "other.example"));
  EXPECT_TRUE(accepts(chain));
}

TEST_F(ServerTrustAgain, AnotherChainForTheSameHostIsJudgedByItself) {
  ASSERT_TRUE(accepts(chainOf(authority, Certificate::ordinary)));
  const Certificate kRefused[] = {Certificate::expired, Certificate::selfSigned,
                                  Certificate::unknownRoot};
  for (const Certificate kind : kRefused) {
    EXPECT_FALSE(accepts(chainOf(authority, kind))) << static_cast<int>(kind);
  }
  // Nor does a known leaf bring along the certificates above it in an accepted chain.
  const auto whole = chainOf(authority, Certificate::attacker);
  ASSERT_EQ(sk_X509_num(whole.get()), 2);
  const CertificateChain leafAlone(X509_chain_up_ref(whole.get()));
  X509_free(sk_X509_pop(leafAlone.get()));
  ASSERT_TRUE(accepts(whole));
  EXPECT_FALSE(accepts(leafAlone));
}

TEST_F(ServerTrustAgain, OtherRootsForgetWhatTheFirstOnesAccepted) {
  const auto chain = chainOf(authority, Certificate::ordinary);
  ASSERT_TRUE(accepts(chain));
  const CertificateAuthority other({kServed});
  trust(other);
  EXPECT_FALSE(accepts(chain));
  trust(authority);
  EXPECT_TRUE(accepts(chain));
}

TEST_F(ServerTrustAgain, RootsThatCannotBeReadAreReadLater) {
  ZOR_SKIP_WHERE_CHECKS_NEED_DESCRIPTORS();
  const auto chain = chainOf(authority, Certificate::ordinary);
  {
    const testing::NoDescriptors shortage;
    EXPECT_FALSE(accepts(chain));
  }
  EXPECT_TRUE(accepts(chain));
}

TEST_F(ServerTrustAgain, RootsAreNotReadFromAPipe) {
  const std::string pipe = testing::makeTemporaryFolder() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  ::setenv("SSL_CERT_FILE", pipe.c_str(), 1);
  ::setenv("SSL_CERT_DIR", pipe.c_str(), 1);
  EXPECT_FALSE(accepts(chainOf(authority, Certificate::ordinary)));
  std::filesystem::remove_all(std::filesystem::path(pipe).parent_path());
}

TEST_F(ServerTrustAgain, AChainIsRefusedFromTheSecondInWhichACertificateEnds) {
  const auto chain = chainOf(authority, Certificate::ordinary);
  const std::time_t start = now;
  std::tm parts{};
  ASSERT_EQ(ASN1_TIME_to_tm(X509_get0_notAfter(sk_X509_value(chain.get(), 0)), &parts), 1);
  const std::time_t end = ::timegm(&parts);
  now = end - 1;
  ASSERT_TRUE(accepts(chain));
  now = end;
  EXPECT_FALSE(accepts(chain));
  // A clock that was set back to before the certificate starts.
  now = start;
  ASSERT_TRUE(accepts(chain));
  now = start - 2 * kDay;
  EXPECT_FALSE(accepts(chain));
}

}  // namespace
}  // namespace zor::net
