// Certificates and names in the question whether a server is trusted. The input is the name that
// the client wants, a NUL, and the certificates that the server presents in DER; without any, a
// good one that is made out to four names.
#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

#include "fuzz/fuzz_input.h"
#include "platform/linux/net/server_trust.h"
#include "support/ascii.h"

namespace zor::fuzz {
namespace {

constexpr std::time_t kNow = 1800000000;  // The certificates below are valid then.

constexpr std::array<std::uint8_t, 16> kIPv6{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0,
                                             0,    0,    0,    0,    0, 0, 0, 1};

constexpr const char* kRoot = R"(-----BEGIN CERTIFICATE-----
MIIBkjCCATmgAwIBAgIUTrpW/zuHZOQlR0AHlh3Bi3hdT74wCgYIKoZIzj0EAwIw
FzEVMBMGA1UEAwwMRnV6emluZyByb290MB4XDTI2MTEyMzIxMTAwNloXDTM2MTEy
MDIxMTAwNlowFzEVMBMGA1UEAwwMRnV6emluZyByb290MFkwEwYHKoZIzj0CAQYI
KoZIzj0DAQcDQgAEu+jpuK5PZ4ZOX1NyYIczOO+JNCfietKXZEyIolKPzOEyfffx
y4r9E4bHzX2Dsj5WoayG9sgXlYPqSU4W34yEd6NjMGEwHQYDVR0OBBYEFN87cLK+
1CHugYRuQ//eTUuF4rMxMB8GA1UdIwQYMBaAFN87cLK+1CHugYRuQ//eTUuF4rMx
MA8GA1UdEwEB/wQFMAMBAf8wDgYDVR0PAQH/BAQDAgIEMAoGCCqGSM49BAMCA0cA
MEQCICdodw4McQmDo+B0OZhIfWVD7inYQETaMYK/WK53P9wPAiBo1Gz7KFseYk5Q
XP9YlLXbYpr/TmN9BJR97N4T0XlrTA==
-----END CERTIFICATE-----
)";

constexpr const char* kGood = R"(-----BEGIN CERTIFICATE-----
MIIB3DCCAYGgAwIBAgIUU2ls5XBzokhANUKV636a65U2gOQwCgYIKoZIzj0EAwIw
FzEVMBMGA1UEAwwMRnV6emluZyByb290MB4XDTI2MTEyMzIxMTAwNloXDTM2MTEy
MDIxMTAwNlowGjEYMBYGA1UEAwwPc3ViamVjdC5leGFtcGxlMFkwEwYHKoZIzj0C
AQYIKoZIzj0DAQcDQgAE/h5uIRZrubIzvqK4RKUq/7YK+O5ZcJnQnikZP5MXloKu
b5yWicARQ3L8fRo+g2hzESt/hBRTv1fTIeDsv5wvKaOBpzCBpDA/BgNVHREEODA2
ggxuYW1lLmV4YW1wbGWCDioud2lsZC5leGFtcGxlhwTAAAIBhxAgAQ24AAAAAAAA
AAAAAAABMBMGA1UdJQQMMAoGCCsGAQUFBwMBMAwGA1UdEwEB/wQCMAAwHQYDVR0O
BBYEFO+PSUJLUBVhgiQyAUOcT62msoYdMB8GA1UdIwQYMBaAFN87cLK+1CHugYRu
Q//eTUuF4rMxMAoGCCqGSM49BAMCA0kAMEYCIQDbgnd0BXEgGZ7AdmQaL4Y9HeaO
4m2q/VMHfW7r9v9YUQIhAJucLz8TWuL3s5WfaTb+Rb9JcUNHJ3POTBWmvke+xL/j
-----END CERTIFICATE-----
)";

net::CertificateChain certificatesOf(const std::string& text) {
  net::CertificateChain chain(sk_X509_new_null());
  auto next = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = next + text.size();
  while (next < end) {
    X509* const certificate = d2i_X509(nullptr, &next, end - next);
    if (certificate == nullptr) break;
    sk_X509_push(chain.get(), certificate);
  }
  ERR_clear_error();
  return chain;
}

net::CertificateChain goodChain() {
  net::CertificateChain chain(sk_X509_new_null());
  BIO* const text = BIO_new_mem_buf(kGood, -1);
  sk_X509_push(chain.get(), PEM_read_bio_X509(text, nullptr, nullptr, nullptr));
  BIO_free(text);
  return chain;
}

// A root of this target's own, which is all that is trusted.
net::SystemRoots& roots() {
  static auto& own = *new net::SystemRoots([] { return kNow; });
  return own;
}

// Whether the good certificate, the only one that the root has signed, is for `host`.
bool isGoodFor(std::string_view host) {
  if (host.size() > 1 && host.back() == '.') host.remove_suffix(1);
  const std::size_t dot = std::min(host.find('.'), host.size());
  in6_addr address{};
  const bool isIPv6 = ::inet_pton(AF_INET6, std::string(host).c_str(), &address) == 1;
  return equalsIgnoringCase(host, "name.example") || host == "192.0.2.1" ||
         (isIPv6 && std::equal(kIPv6.begin(), kIPv6.end(), address.s6_addr)) ||
         (dot > 0 && equalsIgnoringCase(host.substr(dot), ".wild.example"));
}

void isTrustedForItsNamesAlone(const std::string& host, STACK_OF(X509) * certificates) {
  net::PresentedChain chain(roots(), certificates, {});
  if (!chain.setPolicies({{host}})) return;
  const auto evaluation = chain.evaluate();
  if (evaluation && evaluation->result == TrustResult::unspecified) require(isGoodFor(host));
  require(ERR_peek_error() == 0);  // What is left would be taken for a connection's.
  net::PresentedChain again(roots(), certificates, {{host}});
  const auto second = again.evaluate();
  require(evaluation.has_value() == second.has_value());
  if (second) require(second->result == evaluation->result);
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  // Removed at the end: each question looks whether it has changed.
  static std::string path = std::filesystem::temp_directory_path() / "zor-fuzz-root-XXXXXX";
  const int file = ::mkstemp(path.data());
  zor::fuzz::require(file >= 0);
  const std::string_view root = zor::fuzz::kRoot;
  const ssize_t written = ::write(file, root.data(), root.size());
  zor::fuzz::require(written == static_cast<ssize_t>(root.size()));
  ::setenv("SSL_CERT_FILE", path.c_str(), 1);
  ::setenv("SSL_CERT_DIR", "/nonexistent", 1);
  std::atexit([] { ::unlink(path.c_str()); });
  return ::close(file);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto [host, encoded] = zor::fuzz::halvesOfInput(bytes, size);
  static auto& good = *new zor::net::CertificateChain(zor::fuzz::goodChain());
  if (encoded.empty()) {
    zor::fuzz::isTrustedForItsNamesAlone(host, good.get());
    return 0;
  }
  const auto presented = zor::fuzz::certificatesOf(encoded);
  zor::fuzz::isTrustedForItsNamesAlone(host, presented.get());
  return 0;
}
