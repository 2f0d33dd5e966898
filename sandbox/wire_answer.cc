#include "sandbox/wire_answer.h"

#include <algorithm>
#include <sstream>

#include "sandbox/profile_words.h"

namespace zor::sandbox {
namespace {

constexpr int kNoContent = 204;
constexpr int kNotModified = 304;
constexpr std::size_t kMinPromisedBytes = 2;  // A body of one byte cannot be cut in half.
constexpr std::size_t kChunkBytes = 1000;
constexpr std::size_t kFloodPieceBytes = std::size_t{16} << 10;  // A TLS record holds that much.
constexpr const char* kInterimAnswer = "HTTP/1.1 103 Early Hints\r\nLink: <a>\r\n\r\n";
constexpr const char* kFloodHeader = "X-Flood: more\r\n";
constexpr const char* kLastChunk = "0\r\n";

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

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

std::string chunk(const std::string& content) {
  std::ostringstream text;
  text << std::hex << content.size() << "\r\n" << content << "\r\n";
  return text.str();
}

std::string chunksOf(const std::string& body) {
  std::string chunks;
  for (std::size_t start = 0; start < body.size(); start += kChunkBytes) {
    chunks += chunk(body.substr(start, kChunkBytes));
  }
  return chunks;
}

bool hasBody(const ServiceAnswer& answer, const WireRequest& request) {
  return answer.status != kNoContent && answer.status != kNotModified && request.method != "HEAD";
}

std::string framingHeader(Framing framing, std::uint64_t promisedBytes) {
  if (framing == Framing::connection) return "";
  if (framing == Framing::chunks) return "Transfer-Encoding: chunked\r\n";
  return "Content-Length: " + std::to_string(promisedBytes) + "\r\n";
}

// The head of the answer, up to but without the empty line.
std::string headOf(const ServiceAnswer& answer, const std::string& framing, bool keepAlive) {
  std::string head =
      "HTTP/1.1 " + std::to_string(answer.status) + " " + reasonPhrase(answer.status) + "\r\n";
  for (const auto& [name, value] : answer.headers) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  if (answer.status != kNoContent && answer.status != kNotModified) {
    head += framing;
  }
  if (!keepAlive) head += "Connection: close\r\n";
  return head;
}

// Adds what is repeated endlessly after a head that stops before its empty line.
void addFlood(WireAnswer& wire, const std::string& head, Flood flood) {
  const auto fill = [&wire](const std::string& piece) {
    wire.repeated = repeated(piece, kFloodPieceBytes / piece.size());
  };
  wire.bytes = flood == Flood::headers ? head : head + "\r\n";
  if (flood == Flood::interimAnswers) fill(wire.bytes = kInterimAnswer);
  if (flood == Flood::headers || flood == Flood::trailers) fill(kFloodHeader);
  if (flood == Flood::trailers) wire.bytes += kLastChunk;
  if (flood == Flood::body) wire.repeated = chunk(std::string(kFloodPieceBytes, 'f'));
  if (flood == Flood::sessionTickets) wire.bytes.clear();
  wire.repeatsTickets = flood == Flood::sessionTickets;
}

std::string framedBody(const std::string& body, const Script& script) {
  const bool isCut = script.ending == Ending::cutBody;
  std::string sent = isCut ? body.substr(0, body.size() / 2) : body;
  if (script.framing != Framing::chunks) return sent;
  return chunksOf(sent) + (isCut ? "" : std::string(kLastChunk) + "\r\n");
}

}  // namespace

ServiceAnswer changedByScript(ServiceAnswer answer, const Script& script) {
  if (script.status) answer.status = *script.status;
  if (script.body) answer.body = *script.body;
  if (script.answerHeader || script.withoutAnswerHeader) {
    setHeader(answer.headers, words::kHttpDnsAnswerHeader.str(),
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
  const std::size_t wholeBytes = script.ending == Ending::cutBody
                                     ? std::max(answer.body.size(), kMinPromisedBytes)
                                     : answer.body.size();
  const std::uint64_t promisedBytes = script.promisedBytes.value_or(wholeBytes);
  wire.keepAlive = request.keepAlive && !script.closeConnection && !script.raw &&
                   script.framing != Framing::connection && promisedBytes <= wholeBytes;
  if (script.raw) {
    wire.bytes = *script.raw;
    return wire;
  }
  if (script.flood != Flood::none) {
    addFlood(wire, headOf(answer, framingHeader(Framing::chunks, 0), true), script.flood);
    return wire;
  }
  wire.bytes = repeated(kInterimAnswer, static_cast<std::size_t>(script.interimAnswers)) +
               headOf(answer, framingHeader(script.framing, promisedBytes), wire.keepAlive) +
               "\r\n";
  if (hasBody(answer, request)) wire.bytes += framedBody(answer.body, script);
  return wire;
}

bool isAnswered(const Script& script) {
  return script.ending != Ending::reset && script.ending != Ending::hang &&
         script.ending != Ending::dropKept && script.flood != Flood::interimAnswers &&
         script.flood != Flood::sessionTickets;
}

std::string wordsForAnswer(const ServiceAnswer& answer, const Script& script) {
  if (script.ending == Ending::reset) return "(connection reset)";
  if (script.ending == Ending::dropKept) return "(connection closed)";
  if (script.ending == Ending::hang) return "(never answered)";
  if (script.flood != Flood::none) return "(flooded)";
  if (script.raw) return *script.raw;
  return script.ending == Ending::cutBody ? "(cut) " + answer.body : answer.body;
}

}  // namespace zor::sandbox
