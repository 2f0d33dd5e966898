#include "sandbox/log_lines.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "collector/report_entries.h"
#include "literals/literals.h"
#include "sandbox/json_text.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kLongestValue = 120;
constexpr std::size_t kNameColumn = 26;
constexpr std::size_t kRouteColumn = 15;

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.resize(width, ' ');
  return text;
}

// Control characters would let a client write to the reader's terminal.
std::string shortened(std::string text) {
  for (char& letter : text) {
    const auto code = static_cast<unsigned char>(letter);
    if (code < 0x20 || code == 0x7F) letter = '.';
  }
  if (text.size() <= kLongestValue) return text;
  const std::string rest = std::to_string(text.size() - kLongestValue);
  return text.substr(0, kLongestValue) + "... (" + rest + " bytes more)";
}

std::string timeText(std::chrono::system_clock::time_point time, bool forPeople) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  const auto sinceEpoch =
      std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  std::tm parts{};
  if (forPeople) {
    localtime_r(&seconds, &parts);
  } else {
    gmtime_r(&seconds, &parts);
  }
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), forPeople ? "%H:%M:%S" : "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 8> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%03d",
                static_cast<int>(sinceEpoch.count() % 1000));
  return std::string(text.data()) + fraction.data() + (forPeople ? "" : "Z");
}

std::string row(const std::string& name, const std::string& value) {
  return "    " + padded(name, kNameColumn) + " " + shortened(value) + "\n";
}

std::string rowOf(const std::string& name, const Json& value) {
  return row(name, value.is_string() ? value.get<std::string>() : compactText(value));
}

std::string rowsOf(const Json& object) {
  std::string rows;
  for (const auto& [key, value] : object.items()) rows += rowOf(key, value);
  return rows;
}

// The report's entries in the order in which the library collects them; the sealed one goes without
// saying.
std::string rowsOfReport(const Json& report) {
  std::string rows;
  Json others = report;
  others.erase(literals::kParamSealedBlockKey.str());
  for (const ReportEntry& known : reportEntries()) {
    const auto entry = others.find(known.key);
    if (entry == others.end()) continue;
    rows += rowOf(known.key, *entry);
    others.erase(entry);
  }
  return rows + rowsOf(others);
}

std::string rowsOfRecords(const Json& records) {
  std::string rows;
  for (const Json& record : records) {
    const auto text = [&record](std::string_view key) {
      const auto entry = record.is_object() ? record.find(std::string(key)) : record.end();
      if (entry == record.end()) return std::string("?");
      return entry->is_string() ? entry->get<std::string>() : compactText(*entry);
    };
    rows += row("class " + text(literals::kPingbackErrorClassKey.view()) + " " +
                    text(literals::kPingbackErrorTypeKey.view()),
                text(literals::kPingbackErrorDescriptionKey.view()) + " [" +
                    text(literals::kPingbackApplicationKey.view()) + " " +
                    text(literals::kPingbackApplicationVersionKey.view()) + "]");
  }
  return rows;
}

std::string headLine(std::uint64_t order, std::chrono::system_clock::time_point time, Route route) {
  return timeText(time, true) + "  #" + padded(std::to_string(order), 4) +
         padded(routeName(route), kRouteColumn);
}

// What both kinds of entry have.
template <typename Entry>
Json commonFields(const Entry& entry, const char* kind) {
  return {{"kind", kind},
          {"order", entry.order},
          {"time", timeText(entry.time, false)},
          {"connection", entry.connection},
          {"route", routeName(entry.route)},
          {"localAddress", entry.localAddress},
          {"serverName", entry.serverName}};
}

}  // namespace

std::string linesForPeople(const Received& request) {
  std::string lines = headLine(request.order, request.time, request.route) +
                      shortened(request.method + " " + request.target) + "\n";
  lines += row("at", request.localAddress + ", host " + request.host +
                         (request.serverName.empty() ? "" : ", TLS name " + request.serverName) +
                         ", body of " + std::to_string(request.body.size()) + " bytes");
  if (request.details.contains("report")) {
    lines += "  report\n" + rowsOfReport(request.details["report"]);
    lines += request.details.contains("identity")
                 ? "  identity, unsealed\n" + rowsOf(request.details["identity"])
                 : "  identity stays sealed\n";
  }
  if (request.details.contains("records")) {
    lines += "  records\n" + rowsOfRecords(request.details["records"]);
  }
  lines += "  verdict: " + shortened(request.verdict) + "\n";
  std::string answer = request.status == 0 ? "" : std::to_string(request.status) + " ";
  answer += request.answer.empty() ? "(no body)" : shortened(request.answer);
  return lines + "  answer:  " + answer + (request.scripted ? ", by script" : "") + "\n";
}

std::string linesForPeople(const Handshake& handshake) {
  if (handshake.accepted && handshake.certificate == Certificate::ordinary) return "";
  return headLine(handshake.order, handshake.time, handshake.route) + "handshake at " +
         handshake.localAddress + ", " + certificateName(handshake.certificate) +
         " certificate: " + (handshake.accepted ? "accepted" : shortened(handshake.problem)) + "\n";
}

std::string lineForPrograms(const Received& request) {
  Json line = commonFields(request, "request");
  line["host"] = request.host;
  line["method"] = request.method;
  line["target"] = request.target;
  line["headers"] = request.headers;
  line["body"] = request.body;
  line["verdict"] = request.verdict;
  line["details"] = request.details;
  line["scripted"] = request.scripted;
  line["status"] = request.status;
  line["answer"] = request.answer;
  return compactText(line);
}

std::string lineForPrograms(const Handshake& handshake) {
  Json line = commonFields(handshake, "handshake");
  line["certificate"] = certificateName(handshake.certificate);
  line["accepted"] = handshake.accepted;
  line["problem"] = handshake.problem;
  return compactText(line);
}

}  // namespace zor::sandbox
