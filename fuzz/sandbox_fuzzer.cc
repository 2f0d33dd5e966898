// What clients, browsers and operators send to the sandbox: targets and bodies of requests, the
// page's JSON interface, faults and profiles as texts. The page's requests go over a real
// connection, the first line of the input as method and path, the rest as the body.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "fuzz/fuzz_input.h"
#include "profile_tool/operator_profile.h"
#include "sandbox/fault_text.h"
#include "sandbox/inspector/inspector.h"
#include "sandbox/profile_words.h"
#include "sandbox/routes.h"
#include "sandbox/sandbox_service.h"
#include "sandbox/service_crypto.h"
#include "sandbox/services.h"
#include "sandbox/unsealing.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

using namespace zor::sandbox;

// The page and its log, in a folder that is removed at the end.
class Page {
 public:
  Page() {
    std::string name = std::filesystem::temp_directory_path() / "zor-fuzz-XXXXXX";
    require(::mkdtemp(name.data()) != nullptr);
    _folder = name;
    require(!_inspector.start(_folder, 0));
    const std::string url = _inspector.url();  // http://127.0.0.1:PORT/SECRET/
    const UrlParts parts = partsOfUrl(url);
    _authority = parts.host + ":" + parts.port;
    _path = parts.target;
    _address.sin_family = AF_INET;
    _address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(parts.port)));
    _address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  ~Page() {
    _inspector.stop();
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
  }

  // Each request gets one whole answer, after which the connection ends.
  void ask(const std::string& line, const std::string& body) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string target = line.substr(std::min(blank + 1, line.size()));
    const std::string request =
        line.substr(0, blank) + " " + _path + target + " HTTP/1.1\r\nHost: " + _authority +
        "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
        body;
    const std::string answer = answerTo(request);
    require(answer.empty() || answer.rfind("HTTP/1.1 ", 0) == 0);
    if (answer.rfind("HTTP/1.1 2", 0) != 0 || target.rfind("api/", 0) != 0) return;
    if (line.rfind("HEAD", 0) == 0 || target.rfind("api/events", 0) == 0) return;
    const std::size_t start = answer.find("\r\n\r\n");
    require(start != std::string::npos && valueFromJson(answer.substr(start + 4)).has_value());
  }

  void forget() { _service.clearScripts(); }

 private:
  std::string answerTo(const std::string& request) {
    const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(connection >= 0);
    // Another address each time: the ports of one would run out.
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK + (++_asked % 0x10000));
    require(::bind(connection, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0);
    require(::connect(connection, reinterpret_cast<const sockaddr*>(&_address), sizeof _address) ==
            0);
    // A broken request may be refused, and the connection closed, before all of it is sent.
    std::ignore = ::send(connection, request.data(), request.size(), MSG_NOSIGNAL);
    ::shutdown(connection, SHUT_WR);
    std::string answer;
    char piece[4096];
    for (ssize_t size = 1; size > 0;) {
      size = ::recv(connection, piece, sizeof piece, 0);
      if (size > 0) answer.append(piece, static_cast<std::size_t>(size));
    }
    ::close(connection);
    return answer;
  }

  std::filesystem::path _folder;
  SandboxService _service;
  Inspector _inspector{_service};
  std::string _authority;
  std::string _path;
  sockaddr_in _address{};
  std::uint32_t _asked = 0;
};

void readsRequests(const std::string& line, const std::string& body) {
  static const auto& settings = *new SandboxSettings;
  static const auto& routes = *new RoutingTable(settings);
  for (const char* address : {"127.0.0.1", "127.53.20.1", "127.53.21.1"}) {
    routes.ofConnection(address, line);
    routes.ofRequest(address, line, body);
    routes.ofRequest(address, "dns.localhost", line);
  }
  const auto host = routes.resolvedHost(line);
  if (host) answerHttpDns(settings, *host);
  answerFingerprintRequest(settings, words::kFingerprintMethod.str(), body);
  answerPingback(words::kPingbackMethod.str(), words::kPingbackBodyPrefix.str() + body);
  answerPingback(words::kPingbackMethod.str(), body);
  const auto report = valueFromJson(body);
  if (report && report->isDictionary()) unsealIdentity(*report, settings.bundleVersions);
  const auto clear = decodeBase64(body);
  if (clear) openZeroFilled("0123456789abcdef", "0123456789abcdef", *clear);
}

void readsTexts(const std::string& text) {
  std::string problem;
  const auto fault = readFault(text, problem);
  require(fault.has_value() == problem.empty());
  require(!fault || fault->script.fault.empty() == false);
  const auto document = valueFromJson(text);
  if (!document) return;
  for (const std::string& sentence : profile::problemsOfProfile(*document)) {
    require(isValidUtf8(sentence));
  }
}

}  // namespace
}  // namespace zor::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static zor::fuzz::Page page;
  const std::string text = zor::fuzz::textOfInput(bytes, size);
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string line = text.substr(0, end);
  const std::string body = text.substr(std::min(end + 1, text.size()));
  zor::fuzz::readsTexts(text);
  zor::fuzz::readsRequests(line, body);
  page.ask(line, body);
  page.forget();
  return 0;
}
