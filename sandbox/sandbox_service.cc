#include "sandbox/sandbox_service.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <utility>

#include "sandbox/certificates.h"
#include "sandbox/received_log.h"
#include "sandbox/routes.h"
#include "sandbox/scripts.h"
#include "sandbox/services.h"
#include "sandbox/tls_server.h"
#include "sandbox/wire_answer.h"
#include "support/mutex.h"

namespace zor::sandbox {
namespace {

constexpr std::uint16_t kStandardPort = 443;
constexpr const char* kEveryMachinesAddress = "127.0.0.1";

// Each address once, in the order of the lists.
std::vector<std::string> listenAddresses(const SandboxSettings& settings) {
  std::vector<std::string> all;
  for (const auto* list :
       {&settings.nameAddresses, &settings.bootstrapAddresses, &settings.queryAddresses,
        &settings.serviceAddresses, &settings.backupAddresses}) {
    for (const std::string& address : *list) {
      if (std::find(all.begin(), all.end(), address) == all.end()) all.push_back(address);
    }
  }
  return all;
}

bool isOwnAddress(const std::string& address) {
  sockaddr_in endpoint{};
  endpoint.sin_family = AF_INET;
  ::inet_pton(AF_INET, address.c_str(), &endpoint.sin_addr);
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
  const bool own =
      ::bind(descriptor, reinterpret_cast<const sockaddr*>(&endpoint), sizeof endpoint) == 0;
  if (descriptor >= 0) ::close(descriptor);
  return own;
}

// Empty: there is no place for one.
std::filesystem::path makeTemporaryFolder() {
  std::error_code error;
  const std::filesystem::path place = std::filesystem::temp_directory_path(error);
  std::string pattern = (place / "zorfp-sandbox-XXXXXX").string();
  return !error && mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
}

}  // namespace

class SandboxService::Core final : public TlsServerDelegate {
 public:
  explicit Core(SandboxSettings settings)
      : _settings(std::make_shared<const SandboxSettings>(std::move(settings))),
        _routing(*_settings),
        _authority(_settings->certificateNames),
        _server(*this) {}

  ~Core() override {
    _server.stop();
    std::error_code ignored;
    if (_folderIsTemporary) std::filesystem::remove_all(_folder, ignored);
  }

  std::optional<std::string> start() {
    const auto settings = this->settings();
    const std::vector<std::string> addresses = listenAddresses(*settings);
    // The fixed addresses are the profile's; a port of 127.0.0.1 stands in for those elsewhere.
    bool hasRemote = false;
    for (const std::string& address : addresses) {
      if (isLoopbackAddress(address)) continue;
      const auto& known = settings->bootstrapAddresses;
      if (std::find(known.begin(), known.end(), address) == known.end()) {
        return address + " is not a loopback address (127.0.0.0/8)";
      }
      hasRemote = true;
    }
    if (auto problem = prepareFolder(settings->stateFolder)) return problem;
    _server.configure(settings->tlsVersions, settings->sessionTickets);
    if (settings->portForEachHost || hasRemote ||
        !std::all_of(addresses.begin(), addresses.end(), isOwnAddress)) {
      return startOnOneAddress(*settings, addresses);
    }
    if (auto problem = _server.listen(addresses, settings->port)) return problem;
    if (settings->alsoStandardPort && _server.port() != kStandardPort) {
      standardPortProblem = _server.listen(settings->queryAddresses, kStandardPort);
      standardPortOpen = !standardPortProblem;
    }
    _server.run();
    return std::nullopt;
  }

  HandshakeAction planHandshake(Connection& connection, ssl_st* handle) override {
    connection.script = scripts.takeForHandshake(
        {routeOf(connection), connection.localAddress, connection.serverName, std::nullopt});
    const Script script = connection.script.value_or(Script{});
    connection.certificate = script.certificate;
    connection.readPause = script.readPause;
    if (script.ending == Ending::resetHandshake) return HandshakeAction::reset;
    if (script.ending == Ending::hangHandshake) return HandshakeAction::hang;
    // If this fails, the handshake fails because there is no certificate.
    _authority.present(handle, script.certificate, script.certificateNames);
    return HandshakeAction::proceed;
  }

  void handshakeEnded(const Connection& connection, const std::string& problem) override {
    Handshake handshake;
    handshake.connection = connection.id;
    handshake.route = routeOf(connection);
    handshake.localAddress = connection.localAddress;
    handshake.serverName = connection.serverName;
    handshake.certificate = connection.certificate;
    if (connection.script) handshake.fault = connection.script->fault;
    handshake.accepted = problem.empty();
    handshake.problem = problem;
    handshake = log.add(std::move(handshake));
    if (onHandshake) onHandshake(handshake);
  }

  void bytesArrived(const Connection& connection, std::size_t bytes) override {
    log.countBytes(connection.localAddress, bytes);
  }

  WireAnswer answer(const Connection& connection, const WireRequest& request) override {
    const Route route = _routing.ofRequest(connection.localAddress, request.host, request.target);
    auto scripted =
        scripts.takeForRequest({route, connection.localAddress, hostWithoutPort(request.host),
                                request.target, connection.requests > 1});
    if (!scripted) scripted = connection.script;
    const Script script = scripted.value_or(Script{});
    const ServiceAnswer answer = changedByScript(ordinaryAnswer(route, request), script);
    Received entry = received(connection, request, answer);
    entry.route = route;
    entry.scripted = scripted.has_value();
    entry.fault = script.fault;
    entry.status = isAnswered(script) ? answer.status : 0;
    entry.answer = wordsForAnswer(answer, script);
    entry = log.add(std::move(entry));
    if (onRequest) onRequest(entry);
    return wireAnswer(answer, script, request);
  }

  std::shared_ptr<const SandboxSettings> settings() const {
    const MutexLock lock(_mutex);
    return _settings;
  }

  void changeSettings(const std::function<void(SandboxSettings&)>& change) {
    auto changed = std::make_shared<SandboxSettings>(*settings());
    change(*changed);
    const MutexLock lock(_mutex);
    _settings = std::move(changed);
  }

  std::filesystem::path caFile() const { return _folder / "ca.pem"; }
  TlsServer& server() { return _server; }

  bool portForEachHost() const { return !_standIns.empty(); }

  std::vector<std::string> connectTo() const {
    if (!portForEachHost()) return _routing.connectTo(_server.port(), standardPortOpen);
    std::vector<std::string> entries;
    for (const StandIn& standIn : _standIns) {
      const bool isIPv6 = standIn.host.find(':') != std::string::npos;
      entries.push_back((isIPv6 ? "[" + standIn.host + "]" : standIn.host) +
                        "::127.0.0.1:" + std::to_string(standIn.port));
    }
    return entries;
  }

  // Set before the start, read afterwards.
  std::function<void(const Received&)> onRequest;
  std::function<void(const Handshake&)> onHandshake;
  bool standardPortOpen = false;
  std::optional<std::string> standardPortProblem;

  ScriptBook scripts;
  ReceivedLog log;

 private:
  std::optional<std::string> startOnOneAddress(const SandboxSettings& settings,
                                               const std::vector<std::string>& addresses) {
    for (const std::string& name : _routing.hostNames()) {
      _standIns.push_back({name, kEveryMachinesAddress, name});
    }
    for (const std::string& address : addresses) {
      if (address != kEveryMachinesAddress) _standIns.push_back({address, address, ""});
    }
    if (_standIns.empty()) return "there is no name and no address to listen for";
    _standIns.front().port = settings.port;
    if (auto problem = _server.listenFor(_standIns)) return problem;
    _server.run();
    return std::nullopt;
  }

  Route routeOf(const Connection& connection) const {
    return _routing.ofConnection(connection.localAddress, connection.serverName);
  }

  std::optional<std::string> prepareFolder(const std::filesystem::path& wanted) {
    std::error_code error;
    _folderIsTemporary = wanted.empty();
    _folder = wanted.empty() ? makeTemporaryFolder() : wanted;
    if (_folder.empty()) return "cannot make a temporary folder";
    if (!wanted.empty()) std::filesystem::create_directories(_folder, error);
    std::ofstream file(caFile(), std::ios::binary | std::ios::trunc);
    file << _authority.rootPem();
    file.close();
    if (!file) return "cannot write " + caFile().string();
    return std::nullopt;
  }

  ServiceAnswer ordinaryAnswer(Route route, const WireRequest& request) const {
    const auto settings = this->settings();
    switch (route) {
      case Route::name:
      case Route::address:
      case Route::backupAddress:
        return answerFingerprintRequest(*settings, request.method, request.body);
      case Route::bootstrap:
      case Route::query:
        return answerHttpDns(*settings, _routing.resolvedHost(request.target).value_or(""));
      case Route::backupService:
        return answerBackupList(*settings);
      case Route::pingback:
        return answerPingback(request.method, request.body);
      case Route::unknown:
        break;
    }
    ServiceAnswer nothing;
    nothing.status = kNotFound;
    nothing.verdict = "nothing is served here";
    return nothing;
  }

  static Received received(const Connection& connection, const WireRequest& request,
                           const ServiceAnswer& answer) {
    Received entry;
    entry.connection = connection.id;
    entry.localAddress = connection.localAddress;
    entry.serverName = connection.serverName;
    entry.host = request.host;
    entry.method = request.method;
    entry.target = request.target;
    entry.headers = request.headers;
    entry.body = request.body;
    entry.verdict = answer.verdict;
    entry.details = answer.details;
    return entry;
  }

  // Guards only the pointer; the object it points to never changes.
  mutable Mutex _mutex;
  std::shared_ptr<const SandboxSettings> _settings ZOR_GUARDED_BY(_mutex);

  const RoutingTable _routing;
  CertificateAuthority _authority;  // After the start, used on the server's thread only.
  std::filesystem::path _folder;
  bool _folderIsTemporary = false;
  std::vector<StandIn> _standIns;  // Filled by start(); empty if every address listens.
  TlsServer _server;               // Last: its thread uses all other members.
};

SandboxService::SandboxService(SandboxSettings settings)
    : _core(std::make_unique<Core>(std::move(settings))) {}

SandboxService::~SandboxService() = default;

void SandboxService::observe(std::function<void(const Received&)> onRequest,
                             std::function<void(const Handshake&)> onHandshake) {
  _core->onRequest = std::move(onRequest);
  _core->onHandshake = std::move(onHandshake);
}

std::optional<std::string> SandboxService::start() { return _core->start(); }

void SandboxService::stop() { _core->server().stop(); }

std::filesystem::path SandboxService::caFile() const { return _core->caFile(); }

std::uint16_t SandboxService::port() const { return _core->server().port(); }

bool SandboxService::standardPortOpen() const { return _core->standardPortOpen; }

std::optional<std::string> SandboxService::standardPortProblem() const {
  return _core->standardPortProblem;
}

bool SandboxService::portForEachHost() const { return _core->portForEachHost(); }

std::vector<std::string> SandboxService::connectTo() const { return _core->connectTo(); }

std::uint64_t SandboxService::script(const ScriptMatch& match, const Script& script,
                                     std::optional<std::uint64_t> uses) {
  return _core->scripts.add(match, script, uses);
}

bool SandboxService::removeScript(std::uint64_t id) { return _core->scripts.remove(id); }

std::vector<WaitingScript> SandboxService::scripts() const { return _core->scripts.waiting(); }

void SandboxService::clearScripts() { _core->scripts.clear(); }

void SandboxService::closeConnections() { _core->server().closeConnections(); }

void SandboxService::changeSettings(const std::function<void(SandboxSettings&)>& change) {
  _core->changeSettings(change);
}

SandboxSettings SandboxService::settings() const { return *_core->settings(); }

std::vector<Received> SandboxService::received() const { return _core->log.requests(); }

std::vector<Received> SandboxService::received(Route route) const {
  std::vector<Received> entries = _core->log.requests();
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [route](const Received& entry) { return entry.route != route; }),
                entries.end());
  return entries;
}

std::vector<Handshake> SandboxService::handshakes() const { return _core->log.handshakes(); }

AddressCounts SandboxService::counts(const std::string& localAddress) const {
  return _core->log.counts(localAddress);
}

std::vector<ZORValue> SandboxService::pingbackRecords() const {
  std::vector<ZORValue> records;
  for (const Received& entry : received(Route::pingback)) {
    const auto& added = entry.details["records"].elements();
    records.insert(records.end(), added.begin(), added.end());
  }
  return records;
}

void SandboxService::clearReceived() { _core->log.clear(); }

bool SandboxService::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  return _core->log.waitForRequests(count, timeout);
}

bool SandboxService::waitForConnections(const std::string& localAddress, std::uint64_t count,
                                        std::chrono::milliseconds timeout) const {
  return _core->log.waitForConnections(localAddress, count, timeout);
}

}  // namespace zor::sandbox
