// The ordinary answers of the operator's services. Each reads a request and states its verdict in
// words. They have no state or threads of their own.
#ifndef ZOR_SANDBOX_SERVICES_H_
#define ZOR_SANDBOX_SERVICES_H_

#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// HTTP statuses of ordinary answers other than 200.
constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;
constexpr int kWrongMethod = 405;

// NOLINTNEXTLINE(bugprone-exception-escape): it is the JSON library's move that checks itself.
struct ServiceAnswer {
  int status = 200;
  std::vector<Header> headers = {};
  std::string body = {};
  std::string verdict = {};
  ZORValue details = {};
};

// The fingerprint service: checks the signature, reads the report, opens the identity and issues
// the fingerprint of the machine that it belongs to, according to KnownMachines. A report whose
// identity does not open gets one that is derived from the whole report.
ServiceAnswer answerFingerprintRequest(const SandboxSettings& settings, const std::string& method,
                                       const std::string& body);

// HTTPDNS: the addresses of `host` in the answer header.
ServiceAnswer answerHttpDns(const SandboxSettings& settings, const std::string& host);

// The list of backup addresses.
ServiceAnswer answerBackupList(const SandboxSettings& settings);

// The pingback upload: checks the prefix and each record's form. The records are in the details.
ServiceAnswer answerPingback(const std::string& method, const std::string& body);

// `addresses` in the form of an HTTPDNS answer header.
std::string httpDnsHeaderValue(const std::vector<std::string>& addresses);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SERVICES_H_
