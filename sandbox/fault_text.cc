#include "sandbox/fault_text.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <string_view>
#include <vector>

#include "sandbox/routes.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kLongHeaderBytes = 65536;
constexpr int kFound = 302;
constexpr int kSmallestStatus = 200;
constexpr int kLargestStatus = 599;
constexpr std::int64_t kLongestDelayMs = 86400000;

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
  std::string argument;  // How the help calls it; empty: it takes none.
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

std::vector<FaultKind> makeKinds() {
  return {
      {"status", "CODE", "answer with this HTTP status",
       [](const std::string& argument, Script& script) {
         const auto status = wholeNumber(argument, kSmallestStatus, kLargestStatus);
         if (status) script.status = static_cast<int>(*status);
         return status.has_value();
       }},
      {"delay", "MILLISECONDS", "answer late",
       [](const std::string& argument, Script& script) {
         const auto delay = wholeNumber(argument, 0, kLongestDelayMs);
         if (delay) script.delay = std::chrono::milliseconds(*delay);
         return delay.has_value();
       }},
      endingKind("cut", "half the body, then close", Ending::cutBody),
      endingKind("reset", "read the request, then reset the connection", Ending::reset),
      endingKind("hang", "read the request and never answer", Ending::hang),
      endingKind("reset-handshake", "reset the connection before any certificate",
                 Ending::resetHandshake),
      endingKind("hang-handshake", "never answer the client's first words", Ending::hangHandshake),
      certificateKind(Certificate::wrongName, "a certificate for another name"),
      certificateKind(Certificate::attacker, "a trusted certificate for an attacker's domain"),
      certificateKind(Certificate::expired, "a certificate that ended yesterday"),
      certificateKind(Certificate::notYetValid, "a certificate that starts tomorrow"),
      certificateKind(Certificate::selfSigned, "a certificate signed by itself"),
      certificateKind(Certificate::unknownRoot, "a certificate of an unknown authority"),
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
      {"body", "TEXT", "this body in place of the ordinary one",
       [](const std::string& argument, Script& script) {
         script.body = argument;
         return true;
       }},
      {"redirect", "URL", "answer 302 to this place",
       [](const std::string& argument, Script& script) {
         script.status = kFound;
         script.headers.emplace_back("Location", argument);
         return !argument.empty();
       }},
  };
}

const std::vector<FaultKind>& kinds() {
  static const auto& all = *new std::vector<FaultKind>(makeKinds());
  return all;
}

// "ROUTE[@ADDRESS][*TIMES]" into `fault`; what is not understood, or an empty text.
std::string readWho(std::string who, Fault& fault) {
  if (const std::size_t star = who.find('*'); star != std::string::npos) {
    const auto uses = wholeNumber(who.substr(star + 1), 1, INT32_MAX);
    if (!uses) return "\"" + who.substr(star + 1) + "\" is no number of times";
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
  return fault.match.route ? "" : "\"" + who + "\" is no route";
}

std::string readWhat(const std::string& what, Script& script) {
  const std::size_t colon = std::min(what.find(':'), what.size());
  const std::string name = what.substr(0, colon);
  const bool hasArgument = colon < what.size();
  const auto& all = kinds();
  const auto kind = std::find_if(all.begin(), all.end(),
                                 [&name](const FaultKind& known) { return known.name == name; });
  if (kind == all.end()) return "\"" + name + "\" is no fault";
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
    problem = "\"" + text + "\" has not the form ROUTE=FAULT";
    return std::nullopt;
  }
  Fault fault;
  problem = readWho(text.substr(0, equals), fault);
  if (problem.empty()) problem = readWhat(text.substr(equals + 1), fault.script);
  if (!problem.empty()) return std::nullopt;
  return fault;
}

std::string faultHelp() {
  constexpr std::size_t kColumn = 28;
  std::string help =
      "Faults: --fault ROUTE[@ADDRESS][*TIMES]=FAULT, the last one given first.\n"
      "Routes: name, bootstrap, query, address, backup-service, backup-address, pingback, any.\n";
  for (const FaultKind& kind : kinds()) {
    std::string left = "  " + kind.name + (kind.argument.empty() ? "" : ":" + kind.argument);
    left.resize(std::max(kColumn, left.size() + 1), ' ');
    help += left + kind.meaning + "\n";
  }
  return help;
}

}  // namespace zor::sandbox
