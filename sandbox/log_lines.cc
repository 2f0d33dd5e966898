#include "sandbox/log_lines.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "collector/ZORDataCollector_mac.h"
#include "sandbox/profile_words.h"
#include "support/json_codec.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kMaxValueBytes = 120;
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
  if (text.size() <= kMaxValueBytes) return text;
  const std::string rest = std::to_string(text.size() - kMaxValueBytes);
  return text.substr(0, kMaxValueBytes) + "... (" + rest + " bytes more)";
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

std::string shown(const ZORValue& value) {
  return value.isText() ? *value.text() : jsonForDisplay(value);
}

std::string rowsOf(const ZORValue& dictionary) {
  std::string rows;
  for (const auto& [key, value] : dictionary.entries()) rows += row(key, shown(value));
  return rows;
}

// The report's entries in the order in which the library collects them, without the sealed one.
std::string rowsOfReport(const ZORValue& report) {
  std::string rows;
  ZORValue others = report;
  others.erase(words::kParamSealedBlockKey.view());
  for (const ReportEntry& known : reportEntries()) {
    const ZORValue* entry = others.find(known.key);
    if (entry == nullptr) continue;
    rows += row(known.key, shown(*entry));
    others.erase(known.key);
  }
  return rows + rowsOf(others);
}

std::string rowsOfRecords(const ZORValue& records) {
  std::string rows;
  for (const ZORValue& record : records.elements()) {
    const auto text = [&record](std::string_view key) {
      const ZORValue* entry = record.find(key);
      return entry != nullptr ? shown(*entry) : "?";
    };
    rows += row("class " + text(words::kPingbackErrorClassKey.view()) + " " +
                    text(words::kPingbackErrorTypeKey.view()),
                text(words::kPingbackErrorDescriptionKey.view()) + " [" +
                    text(words::kPingbackApplicationKey.view()) + " " +
                    text(words::kPingbackApplicationVersionKey.view()) + "]");
  }
  return rows;
}

std::string headLine(std::uint64_t order, std::chrono::system_clock::time_point time, Route route) {
  return timeText(time, true) + "  #" + padded(std::to_string(order), 4) +
         padded(routeName(route), kRouteColumn);
}

// The members that both kinds of entry have.
template <typename Entry>
ZORValue commonFields(const Entry& entry, const char* kind) {
  return ZORValue::dictionary({{"kind", kind},
                               {"order", entry.order},
                               {"time", timeText(entry.time, false)},
                               {"connection", entry.connection},
                               {"route", routeName(entry.route)},
                               {"localAddress", entry.localAddress},
                               {"serverName", entry.serverName}});
}

ZORValue headerPairs(const std::vector<Header>& headers) {
  ZORValue pairs = ZORValue::array();
  for (const auto& [name, value] : headers) pairs.append(ZORValue::array({name, value}));
  return pairs;
}

}  // namespace

std::string linesForPeople(const Received& request) {
  std::string lines = headLine(request.order, request.time, request.route) +
                      shortened(request.method + " " + request.target) + "\n";
  lines += row("at", request.localAddress + ", host " + request.host +
                         (request.serverName.empty() ? "" : ", TLS name " + request.serverName) +
                         ", body of " + std::to_string(request.body.size()) + " bytes");
  if (const ZORValue* report = request.details.find("report")) {
    const ZORValue* identity = request.details.find("identity");
    lines += "  report\n" + rowsOfReport(*report);
    lines += identity != nullptr ? "  identity, unsealed\n" + rowsOf(*identity)
                                 : "  identity stays sealed\n";
  }
  if (const ZORValue* records = request.details.find("records")) {
    lines += "  records\n" + rowsOfRecords(*records);
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
  ZORValue line = commonFields(request, "request");
  line.set("host", request.host);
  line.set("method", request.method);
  line.set("target", request.target);
  line.set("headers", headerPairs(request.headers));
  line.set("body", request.body);
  line.set("verdict", request.verdict);
  line.set("details", request.details);
  line.set("scripted", request.scripted);
  line.set("status", request.status);
  line.set("answer", request.answer);
  return jsonForDisplay(line);
}

std::string lineForPrograms(const Handshake& handshake) {
  ZORValue line = commonFields(handshake, "handshake");
  line.set("certificate", certificateName(handshake.certificate));
  line.set("accepted", handshake.accepted);
  line.set("problem", handshake.problem);
  return jsonForDisplay(line);
}

}  // namespace zor::sandbox
