#include "platform/linux/net/server_trust.h"

#include <arpa/inet.h>
#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
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

// Compares in order, each certificate by the digest of the whole and by the bytes that its issuer
// signed.
bool isSameChain(STACK_OF(X509) * left, STACK_OF(X509) * right) {
  const int count = sk_X509_num(left);
  if (count != sk_X509_num(right)) return false;
  for (int index = 0; index < count; ++index) {
    if (X509_cmp(sk_X509_value(left, index), sk_X509_value(right, index)) != 0) return false;
  }
  return true;
}

constexpr const char* kNothingToJudgeBy = "no valid host is expected";

// Read as OpenSSL does: ignored in a program with raised privileges.
std::string settingOr(const char* variable, const char* fallback) {
  const char* const value = ::secure_getenv(variable);
  return value != nullptr ? value : fallback;
}

// A path of another type counts as missing: reading a pipe or a device might never end.
RootSource sourceAt(std::string path, mode_t type) {
  RootSource source{std::move(path), {}};
  struct stat status {};
  if (::stat(source.path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type) {
    source.state = {static_cast<std::int64_t>(status.st_dev),
                    static_cast<std::int64_t>(status.st_ino), status.st_size, status.st_mtim.tv_sec,
                    status.st_mtim.tv_nsec};
  }
  return source;
}

// The file, then the folders.
std::vector<RootSource> rootSources() {
  std::vector<RootSource> sources{
      sourceAt(settingOr(X509_get_default_cert_file_env(), X509_get_default_cert_file()), S_IFREG)};
  const std::string folders =
      settingOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir());
  for (std::size_t start = 0; start <= folders.size();) {
    const std::size_t end = std::min(folders.find(':', start), folders.size());
    sources.push_back(sourceAt(folders.substr(start, end - start), S_IFDIR));
    start = end + 1;
  }
  return sources;
}

// False: a source that exists could not be read, for instance because no descriptor was available.
// Roots in folders are read on demand, when a chain needs them.
bool load(X509_STORE* store, const std::vector<RootSource>& sources) {
  bool isComplete = true;
  for (const RootSource& source : sources) {
    if (!source.exists()) continue;
    const bool isFile = &source == &sources.front();
    const int result = isFile ? X509_STORE_load_file(store, source.path.c_str())
                              : X509_STORE_load_path(store, source.path.c_str());
    isComplete = isComplete && result == 1;
  }
  return isComplete;
}

bool isAddress(const std::string& host) {
  in6_addr address{};
  return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
         ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

// OpenSSL takes an empty name as no check at all and a leading dot as all names below, and reads up
// to the first NUL.
bool isUsable(const TrustPolicy& policy) {
  if (!policy.serverHostName) return true;
  const std::string& host = *policy.serverHostName;
  return !host.empty() && host.front() != '.' && host.find('\0') == std::string::npos;
}

bool requireHost(X509_VERIFY_PARAM* parameters, std::string host) {
  if (isAddress(host)) return X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1;
  if (host.size() > 1 && host.back() == '.') host.pop_back();  // The root's label, never in names.
  return X509_VERIFY_PARAM_set1_host(parameters, host.data(), host.size()) == 1;
}

bool configure(X509_STORE_CTX* context, const TrustPolicy& policy, std::time_t now) {
  // Purpose and trust of a TLS server's certificate.
  if (X509_STORE_CTX_set_default(context, "ssl_server") != 1) return false;
  X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context);
  X509_VERIFY_PARAM_set_auth_level(parameters, kSecurityLevel);
  X509_VERIFY_PARAM_set_time(parameters, now);
  X509_VERIFY_PARAM_set_hostflags(
      parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  return !policy.serverHostName || requireHost(parameters, *policy.serverHostName);
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
  // Valid from now on, when all certificates are: if the clock is set back, the chain is verified
  // again.
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

X509_STORE* SystemRoots::current() {
  auto sources = rootSources();
  if (_store != nullptr && sources == _loadedFrom) return _store.get();
  CertificateStore store(X509_STORE_new());
  if (store == nullptr) return nullptr;
  // Missing or damaged sources are not a failure here: no chain then ends in a root. But the next
  // call tries again, because the cause may be gone without a change in the sources' state.
  if (!load(store.get(), sources)) sources.clear();
  _accepted.clear();
  _store = std::move(store);
  _loadedFrom = std::move(sources);
  return _store.get();
}

void SystemRoots::prepare() {
  if (!std::exchange(_chainIsExpected, false)) return;
  current();
  ERR_clear_error();  // As after an evaluation.
}

PresentedChain::PresentedChain(SystemRoots& roots, STACK_OF(X509) * presented,
                               std::vector<TrustPolicy> policies)
    : _roots(roots),
      _chain(presented != nullptr ? X509_chain_up_ref(presented) : nullptr),
      _policies(std::move(policies)) {}

bool PresentedChain::setPolicies(const std::vector<TrustPolicy>& policies) {
  _policies = policies;
  if (!_policies.empty() && std::all_of(_policies.begin(), _policies.end(), isUsable)) return true;
  _lastReason = kNothingToJudgeBy;
  return false;
}

std::optional<TrustEvaluation> PresentedChain::evaluate() {
  TrustEvaluation evaluation{TrustResult::deny, kNothingToJudgeBy};
  for (const TrustPolicy& policy : _policies) {
    const auto judged = evaluate(policy);
    // Errors that a failed verification leaves in the thread's queue would be taken for a
    // connection's.
    ERR_clear_error();
    if (!judged) return std::nullopt;
    evaluation = *judged;
    if (evaluation.result != TrustResult::unspecified) break;
  }
  _lastReason = evaluation.reason;
  return evaluation;
}

std::optional<TrustEvaluation> PresentedChain::evaluate(const TrustPolicy& policy) {
  if (!isUsable(policy)) return TrustEvaluation{TrustResult::deny, kNothingToJudgeBy};
  if (!credentialAvailable()) return TrustEvaluation{TrustResult::invalid, "there is none"};
  X509_STORE* const roots = _roots.current();
  if (roots == nullptr) return std::nullopt;
  const std::time_t now = _roots.now();
  if (_roots.accepted().contains(_chain.get(), policy, now)) {
    return TrustEvaluation{TrustResult::unspecified, {}};
  }
  return verify(roots, policy, now);
}

std::optional<TrustEvaluation> PresentedChain::verify(X509_STORE* roots, const TrustPolicy& policy,
                                                      std::time_t now) {
  const VerificationContext context(X509_STORE_CTX_new());
  if (context == nullptr ||
      X509_STORE_CTX_init(context.get(), roots, sk_X509_value(_chain.get(), 0), _chain.get()) !=
          1 ||
      !configure(context.get(), policy, now)) {
    return std::nullopt;
  }
  const int verified = X509_verify_cert(context.get());
  const int error = X509_STORE_CTX_get_error(context.get());
  if (verified < 0) return std::nullopt;
  if (verified == 0 || error != X509_V_OK) {
    return TrustEvaluation{TrustResult::recoverableFailure, X509_verify_cert_error_string(error)};
  }
  _roots.accepted().add(_chain.get(), policy, X509_STORE_CTX_get0_chain(context.get()), now);
  return TrustEvaluation{TrustResult::unspecified, {}};
}

bool PresentedChain::credentialAvailable() { return sk_X509_num(_chain.get()) > 0; }

}  // namespace zor::net
