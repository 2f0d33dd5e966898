#include "sandbox/fault_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "sandbox/routes.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kLongHeaderBytes = 65536;
constexpr int kFound = 302;
constexpr int kMinStatus = 200;
constexpr int kMaxStatus = 599;
constexpr std::int64_t kMaxDelayMs = 86400000;
constexpr std::int64_t kMaxInterimAnswers = 100000;
constexpr std::int64_t kMaxPromisedBytes = INT64_MAX;
constexpr const char* kSwitchingProtocols =
    "HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: other\r\n\r\n";

std::optional<std::int64_t> wholeNumber(const std::string& text, std::int64_t smallest,
                                        std::int64_t largest) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < smallest || number > largest) return std::nullopt;
  return number;
}

struct FaultKind {
  std::string name;
  std::string argument;  // Its name in the help; empty: the fault takes none.
  std::string meaning;
  std::function<bool(const std::string& argument, Script& script)> apply;
};

FaultKind endingKind(const std::string& name, const std::string& meaning, Ending ending) {
  return {name, "", meaning, [ending](const std::string&, Script& script) {
            script.ending = ending;
            return true;
          }};
}

FaultKind certificateKind(Certificate certificate, const std::string& meaning) {
  return {certificateName(certificate) + "-certificate", "", meaning,
          [certificate](const std::string&, Script& script) {
            script.certificate = certificate;
            return true;
          }};
}

FaultKind framingKind(const std::string& name, const std::string& meaning, Framing framing,
                      Ending ending = Ending::complete) {
  return {name, "", meaning, [framing, ending](const std::string&, Script& script) {
            script.framing = framing;
            script.ending = ending;
            return true;
          }};
}

FaultKind floodKind(const std::string& name, const std::string& meaning, Flood flood) {
  return {name, "", meaning, [flood](const std::string&, Script& script) {
            script.flood = flood;
            return true;
          }};
}

// Faults in how the answer is written rather than in what it says.
std::vector<FaultKind> makeWireKinds() {
  return {
      {"interim", "COUNT", "this many 103 answers before the ordinary one",
       [](const std::string& argument, Script& script) {
         const auto count = wholeNumber(argument, 1, kMaxInterimAnswers);
         if (count) script.interimAnswers = static_cast<int>(*count);
         return count.has_value();
       }},
      {"switch-protocols", "", "answer 101, then close",
       [](const std::string&, Script& script) {
         script.raw = kSwitchingProtocols;
         return true;
       }},
      framingKind("chunked", "the body in chunks", Framing::chunks),
      framingKind("cut-chunked", "half the body in chunks, then close", Framing::chunks,
                  Ending::cutBody),
      framingKind("no-length", "a body that ends with the connection", Framing::connection),
      framingKind("cut-no-length", "half such a body, then close without ending TLS",
                  Framing::connection, Ending::cutBody),
      {"length", "BYTES", "promise this length, whatever the body has",
       [](const std::string& argument, Script& script) {
         const auto bytes = wholeNumber(argument, 0, kMaxPromisedBytes);
         if (bytes) script.promisedBytes = static_cast<std::uint64_t>(*bytes);
         return bytes.has_value();
       }},
      endingKind("drop-kept", "close a kept connection at its next request", Ending::dropKept),
      {"slow-reader", "MILLISECONDS", "pause before each 16 KiB of a request",
       [](const std::string& argument, Script& script) {
         const auto pause = wholeNumber(argument, 1, kMaxDelayMs);
         if (pause) script.readPause = std::chrono::milliseconds(*pause);
         return pause.has_value();
       }},
      floodKind("flood-interim", "an endless series of 103 answers", Flood::interimAnswers),
      floodKind("flood-headers", "endless headers", Flood::headers),
      floodKind("flood-body", "an endless body", Flood::body),
      floodKind("flood-trailers", "endless trailers", Flood::trailers),
      floodKind("flood-tickets", "endless TLS 1.3 session tickets", Flood::sessionTickets),
  };
}

// Faults in the header in which HTTPDNS answers.
std::vector<FaultKind> makeHeaderKinds() {
  return {
      {"no-header", "", "HTTPDNS without the answer header",
       [](const std::string&, Script& script) { return script.withoutAnswerHeader = true; }},
      {"empty-header", "", "HTTPDNS with an empty answer header",
       [](const std::string&, Script& script) {
         script.answerHeader = "";
         return true;
       }},
      {"long-header", "", "HTTPDNS with 64 KiB of answer header",
       [](const std::string&, Script& script) {
         script.answerHeader = std::string(kLongHeaderBytes, '1');
         return true;
       }},
      {"header", "TEXT", "HTTPDNS with this answer header",
       [](const std::string& argument, Script& script) {
         script.answerHeader = argument;
         return true;
       }},
  };
}

std::vector<FaultKind> makeAnswerKinds() {
  return {
      {"status", "CODE", "answer with this HTTP status",
       [](const std::string& argument, Script& script) {
         const auto status = wholeNumber(argument, kMinStatus, kMaxStatus);
         if (status) script.status = static_cast<int>(*status);
         return status.has_value();
       }},
      {"delay", "MILLISECONDS", "answer late",
       [](const std::string& argument, Script& script) {
         const auto delay = wholeNumber(argument, 0, kMaxDelayMs);
         if (delay) script.delay = std::chrono::milliseconds(*delay);
         return delay.has_value();
       }},
      endingKind("cut", "half the body, then close", Ending::cutBody),
      endingKind("reset", "read the request, then reset the connection", Ending::reset),
      endingKind("hang", "read the request and never answer", Ending::hang),
      endingKind("reset-handshake", "reset the connection before any certificate",
                 Ending::resetHandshake),
      endingKind("hang-handshake", "never answer the client's hello", Ending::hangHandshake),
      certificateKind(Certificate::wrongName, "a certificate for another name"),
      certificateKind(Certificate::attacker, "a trusted certificate for an attacker's domain"),
      certificateKind(Certificate::expired, "an expired certificate"),
      certificateKind(Certificate::notYetValid, "a certificate that is not valid yet"),
      certificateKind(Certificate::selfSigned, "a self-signed certificate"),
      certificateKind(Certificate::unknownRoot, "a certificate from an unknown authority"),
      {"body", "TEXT", "this body instead of the ordinary one",
       [](const std::string& argument, Script& script) {
         script.body = argument;
         return true;
       }},
      {"redirect", "URL", "answer 302 with this location",
       [](const std::string& argument, Script& script) {
         script.status = kFound;
         script.headers.emplace_back("Location", argument);
         return !argument.empty();
       }},
  };
}

const std::vector<FaultKind>& kinds() {
  static const auto& all = *new auto([] {
    std::vector<FaultKind> list = makeAnswerKinds();
    for (auto* make : {makeHeaderKinds, makeWireKinds}) {
      for (FaultKind& kind : make()) list.push_back(std::move(kind));
    }
    return list;
  }());
  return all;
}

// Reads "ROUTE[@ADDRESS][*TIMES]" into `fault`. Returns what is not understood, or an empty text.
std::string readWho(std::string who, Fault& fault) {
  if (const std::size_t star = who.find('*'); star != std::string::npos) {
    const auto uses = wholeNumber(who.substr(star + 1), 1, INT32_MAX);
    if (!uses) return "\"" + who.substr(star + 1) + "\" is not a number of times";
    fault.uses = static_cast<std::uint64_t>(*uses);
    who.erase(star);
  }
  if (const std::size_t at = who.find('@'); at != std::string::npos) {
    fault.match.address = who.substr(at + 1);
    if (!isLoopbackAddress(*fault.match.address)) return "\"" + who + "\" has no loopback address";
    who.erase(at);
  }
  if (who == "any") return "";
  fault.match.route = routeFromName(who);
  return fault.match.route ? "" : "\"" + who + "\" is not a route";
}

std::string readWhat(const std::string& what, Script& script) {
  const std::size_t colon = std::min(what.find(':'), what.size());
  const std::string name = what.substr(0, colon);
  const bool hasArgument = colon < what.size();
  const auto& all = kinds();
  const auto kind = std::find_if(all.begin(), all.end(),
                                 [&name](const FaultKind& known) { return known.name == name; });
  if (kind == all.end()) return "\"" + name + "\" is not a fault";
  if (hasArgument == kind->argument.empty()) {
    return name + (hasArgument ? " takes no argument" : " needs :" + kind->argument);
  }
  const std::string argument = hasArgument ? what.substr(colon + 1) : "";
  return kind->apply(argument, script) ? "" : "\"" + argument + "\" is no " + kind->argument;
}

}  // namespace

std::optional<Fault> readFault(const std::string& text, std::string& problem) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) {
    problem = "\"" + text + "\" does not have the form ROUTE=FAULT";
    return std::nullopt;
  }
  Fault fault;
  problem = readWho(text.substr(0, equals), fault);
  if (problem.empty()) problem = readWhat(text.substr(equals + 1), fault.script);
  if (!problem.empty()) return std::nullopt;
  fault.script.fault = text;
  return fault;
}

std::vector<FaultWords> faultWords() {
  std::vector<FaultWords> words;
  for (const FaultKind& kind : kinds()) words.push_back({kind.name, kind.argument, kind.meaning});
  return words;
}

std::string faultHelp() {
  constexpr std::size_t kColumn = 28;
  std::string help =
      "Faults: --fault ROUTE[@ADDRESS][*TIMES]=FAULT, the most recent is tried first.\n"
      "Routes: name, bootstrap, query, address, backup-service, backup-address, pingback, any.\n";
  for (const FaultKind& kind : kinds()) {
    std::string left = "  " + kind.name + (kind.argument.empty() ? "" : ":" + kind.argument);
    left.resize(std::max(kColumn, left.size() + 1), ' ');
    help += left + kind.meaning + "\n";
  }
  return help;
}

}  // namespace zor::sandbox
