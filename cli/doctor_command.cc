#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "cli/awaited_value.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "platform/ports.h"
#include "session/ZORHttpsURLSession.h"
#include "support/url.h"
#include "transport/ZORDing.h"
#include "transport/ZORHTTPDNSManager.h"

namespace zor::cli {
namespace {

// Judges certificates as the library does and remembers the decision.
class JudgingDelegate final : public URLSessionDelegate {
 public:
  explicit JudgingDelegate(std::optional<std::string> acceptHost)
      : _acceptHost(std::move(acceptHost)) {}

  void didReceiveChallenge(const AuthenticationChallenge& challenge,
                           const ChallengeCompletion& completionHandler) override {
    const TrustDecision decision = decideOnChallenge(challenge, _acceptHost);
    if (decision.evaluation) remember(decision);
    answerChallenge(decision, completionHandler);
  }

  std::string verdict() {
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_decision) return kNonePresented;
    return _decision->trusted() ? "trusted" : "refused: " + _decision->evaluation->reason;
  }

  static constexpr const char* kNonePresented = "none presented";

 private:
  void remember(const TrustDecision& decision) {
    const std::lock_guard<std::mutex> lock(_mutex);
    _decision = decision;
  }

  const std::optional<std::string> _acceptHost;
  std::mutex _mutex;
  std::optional<TrustDecision> _decision;
};

struct RouteAnswer {
  std::optional<URLResponse> response;
  std::optional<ZORError> error;
};

constexpr const char* kName = "name";
constexpr const char* kBootstrap = "HTTPDNS bootstrap";
constexpr const char* kQuery = "HTTPDNS query";
constexpr const char* kAddress = "address";
constexpr const char* kBackupList = "backup list";
constexpr const char* kBackupAddress = "backup address";

struct RouteCheck {
  std::string route;
  std::string url;
  RouteAnswer answer;
  std::string verdict;
  std::chrono::duration<double, std::milli> duration{};

  bool tried() const { return !url.empty(); }
  bool reached() const { return answer.response.has_value(); }
  // The other routes lead to HTTPDNS or the backup list.
  bool leadsToTheService() const {
    return route == kName || route == kAddress || route == kBackupAddress;
  }
};

// Makes one exchange. `acceptHost`: the name the certificate must be for; absent: any.
RouteCheck check(const std::string& route, const std::string& url,
                 const std::optional<std::string>& acceptHost) {
  constexpr double kTimeoutSeconds = 10;
  const auto delegate = std::make_shared<JudgingDelegate>(acceptHost);
  const auto session = ports().urlLoading.createSession(delegate, zor_httpsOperationQueue());
  const auto awaited = std::make_shared<AwaitedValue<RouteAnswer>>();
  URLRequest request;
  request.url = url;
  request.timeoutSeconds = kTimeoutSeconds;
  const auto start = std::chrono::steady_clock::now();
  session->startDataTask(request, [awaited](const auto&, const auto& response, const auto& error) {
    awaited->deliver({response, error});
  });
  const RouteAnswer answer = awaited->wait("Trying " + route);
  return {route, url, answer, delegate->verdict(), std::chrono::steady_clock::now() - start};
}

// The row for a route that could not be tried.
RouteCheck notTried(const std::string& route, const std::string& reason) {
  return {route, "", {std::nullopt, ZORError{"", 0, reason}}, JudgingDelegate::kNonePresented};
}

// Like check(), but reports "not tried" if `address` is not an address and so gives no URL.
RouteCheck checkByAddress(const std::string& route, const std::optional<std::string>& url,
                          const std::optional<std::string>& acceptHost,
                          const std::string& address) {
  if (url) return check(route, *url, acceptHost);
  return notTried(route, "\"" + address + "\" is not an address");
}

bool isUsable(const RouteAnswer& answer) {
  return zor_isRequestSuccess(std::nullopt, answer.response, answer.error);
}

std::vector<std::string> answeredAddresses(const RouteAnswer& answer) {
  return isUsable(answer) ? httpDnsAddresses(*answer.response) : std::vector<std::string>();
}

// A look-up and what it found. If an answer came without addresses, the row says why.
struct LookUp {
  RouteCheck row;
  std::vector<std::string> addresses;
};

LookUp lookUp(const std::string& route, std::string_view format, const std::string& address,
              const std::string& host) {
  LookUp made{checkByAddress(route, httpDnsUrl(format, address, host), std::nullopt, address), {}};
  RouteAnswer& answer = made.row.answer;
  made.addresses = answeredAddresses(answer);
  if (!made.addresses.empty() || answer.error) return made;
  answer.error = {"", 0,
                  isUsable(answer)
                      ? "the answer has no addresses"
                      : "the answer has status " + std::to_string(answer.response->statusCode)};
  return made;
}

// Tries the fixed addresses in turn, one row each, until one answers: the resolver may use any of
// them.
std::vector<std::string> checkBootstrap(std::vector<RouteCheck>& checks) {
  const auto config = ZORHttpDnsConfig::defaultConfig();
  if (config.isOff()) checks.push_back(notTried(kBootstrap, "the operator has no HTTPDNS service"));
  for (const std::string& fixed : config.ips()) {
    auto made =
        lookUp(kBootstrap, literals::kHttpDnsBootstrapFormat.view(), fixed, config.httpDnsHost());
    checks.push_back(made.row);
    if (!made.addresses.empty()) return made.addresses;
  }
  return {};
}

// The resolver sends its query to the first address in the bootstrap answer, whatever it is.
std::vector<std::string> checkQuery(const std::vector<std::string>& serviceAddresses,
                                    const std::string& host, std::vector<RouteCheck>& checks) {
  if (serviceAddresses.empty()) {
    checks.push_back(notTried(kQuery, "the HTTPDNS bootstrap gave no address"));
    return {};
  }
  auto made = lookUp(kQuery, literals::kHttpDnsQueryFormat.view(), serviceAddresses.front(), host);
  checks.push_back(made.row);
  return made.addresses;
}

RouteCheck checkAddress(const std::vector<std::string>& addresses, const std::string& url,
                        const std::string& host) {
  if (addresses.empty()) return notTried(kAddress, "the HTTPDNS query gave no address");
  const std::string& first = addresses.front();
  return checkByAddress(kAddress, urlByReplacingHost(url, first), host, first);
}

std::vector<RouteCheck> checkEveryRoute() {
  const std::string url = literals::kFingerprintURL.str();
  const std::string host = hostOfUrl(url).value_or("");
  const std::string backupUrl = literals::kBackupURL.str();
  std::vector<RouteCheck> checks{check(kName, url, host)};
  const auto serviceAddresses = checkBootstrap(checks);
  const auto addresses = checkQuery(serviceAddresses, host, checks);
  checks.push_back(checkAddress(addresses, url, host));
  checks.push_back(backupUrl.empty() ? notTried(kBackupList, "the operator has no backup list")
                                     : check(kBackupList, backupUrl, hostOfUrl(backupUrl)));
  if (const auto stored = ZORDing::create()->randomBackupIP()) {
    checks.push_back(
        checkByAddress(kBackupAddress, urlByReplacingHost(url, *stored), host, *stored));
  }
  return checks;
}

ZORValue asJson(const RouteCheck& check) {
  const auto& [response, error] = check.answer;
  return ZORValue::dictionary(
      {{"route", check.route},
       {"url", check.url},
       {"reached", check.reached()},
       {"status", check.reached() ? ZORValue(response->statusCode) : ZORValue()},
       {"milliseconds", check.tried() ? ZORValue(check.duration.count()) : ZORValue()},
       {"certificate", check.verdict},
       {"error", error ? ZORValue(error->localizedDescription) : ZORValue()}});
}

void printChecks(const std::vector<RouteCheck>& checks) {
  std::vector<std::vector<std::string>> rows{
      {"ROUTE", "REACHED", "STATUS", "TIME", "CERTIFICATE", "URL", "WHY NOT"}};
  for (const RouteCheck& check : checks) {
    rows.push_back({check.route, check.reached() ? "yes" : "no",
                    check.reached() ? std::to_string(check.answer.response->statusCode) : "-",
                    check.tried() ? shownDuration(check.duration) : "-", shown(check.verdict),
                    shown(check.url),
                    check.answer.error ? shown(check.answer.error->localizedDescription) : ""});
  }
  printTable(rows);
}

}  // namespace

int runDoctor(bool json, HostPorts& host) {
  const std::vector<RouteCheck> checks = checkEveryRoute();
  host.urlLoading().waitUntilIdle(std::chrono::seconds(1));
  bool serviceReached = false;
  ZORValue list = ZORValue::array();
  for (const RouteCheck& check : checks) {
    serviceReached = serviceReached || (check.leadsToTheService() && check.reached());
    list.append(asJson(check));
  }
  if (json) {
    printJson(list);
  } else {
    printChecks(checks);
  }
  if (!ZORSecPingback::canBeWritten()) {
    printDiagnostic(
        "The program has no bundle information, so the library keeps no failure records.");
  }
  return serviceReached ? kDone : kTransport;
}

}  // namespace zor::cli
