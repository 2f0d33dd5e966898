#include "sandbox/wire_answer.h"

#include <algorithm>

#include "literals/literals.h"

namespace zor::sandbox {
namespace {

constexpr int kNoContent = 204;
constexpr int kNotModified = 304;
constexpr std::size_t kSmallestPromise = 2;  // A body of one byte cannot be cut in half.

std::string reasonPhrase(int status) {
  if (status >= 200 && status < 300) return "OK";
  return status < 400 ? "Redirected" : "Refused";
}

void setHeader(std::vector<Header>& headers, const std::string& name,
               const std::optional<std::string>& value) {
  headers.erase(std::remove_if(headers.begin(), headers.end(),
                               [&name](const Header& header) { return header.first == name; }),
                headers.end());
  if (value) headers.emplace_back(name, *value);
}

std::string headOf(const ServiceAnswer& answer, std::size_t promisedBytes, bool keepAlive) {
  std::string head =
      "HTTP/1.1 " + std::to_string(answer.status) + " " + reasonPhrase(answer.status) + "\r\n";
  for (const auto& [name, value] : answer.headers) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  if (answer.status != kNoContent && answer.status != kNotModified) {
    head += "Content-Length: " + std::to_string(promisedBytes) + "\r\n";
  }
  if (!keepAlive) head += "Connection: close\r\n";
  return head + "\r\n";
}

}  // namespace

ServiceAnswer changedByScript(ServiceAnswer answer, const Script& script) {
  if (script.status) answer.status = *script.status;
  if (script.body) answer.body = *script.body;
  if (script.answerHeader || script.withoutAnswerHeader) {
    setHeader(answer.headers, literals::kHttpDnsAnswerHeader.str(),
              script.withoutAnswerHeader ? std::nullopt : script.answerHeader);
  }
  answer.headers.insert(answer.headers.end(), script.headers.begin(), script.headers.end());
  return answer;
}

WireAnswer wireAnswer(const ServiceAnswer& answer, const Script& script,
                      const WireRequest& request) {
  WireAnswer wire;
  wire.delay = script.delay;
  wire.ending = script.ending;
  wire.keepAlive = request.keepAlive && !script.closeConnection && !script.raw;
  if (script.raw) {
    wire.bytes = *script.raw;
    return wire;
  }
  const bool bodyless =
      answer.status == kNoContent || answer.status == kNotModified || request.method == "HEAD";
  if (script.ending == Ending::cutBody) {
    const std::size_t promised = std::max(answer.body.size(), kSmallestPromise);
    wire.bytes = headOf(answer, promised, wire.keepAlive) + answer.body.substr(0, promised / 2);
    return wire;
  }
  wire.bytes = headOf(answer, answer.body.size(), wire.keepAlive);
  if (!bodyless) wire.bytes += answer.body;
  return wire;
}

std::string wordsForAnswer(const ServiceAnswer& answer, const Script& script) {
  if (script.ending == Ending::reset) return "(connection reset)";
  if (script.ending == Ending::hang) return "(never answered)";
  if (script.raw) return *script.raw;
  return script.ending == Ending::cutBody ? "(cut) " + answer.body : answer.body;
}

}  // namespace zor::sandbox
