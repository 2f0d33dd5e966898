#include "sandbox/inspector/inspector.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <utility>
#include <vector>

#include "sandbox/fault_text.h"
#include "sandbox/inspector/call_chains.h"
#include "sandbox/inspector/exchange_store.h"
#include "sandbox/inspector/page_files.h"
#include "sandbox/inspector/page_server.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::sandbox {
namespace {

constexpr int kCreated = 201;
constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;
constexpr int kWrongMethod = 405;
constexpr int kStorageFailed = 500;
constexpr std::int64_t kMaxListed = 1000;
constexpr int kExchangesWithCalls = 2000;  // The newest, which the calls are read from.
constexpr std::int64_t kMaxSeconds = 1'000'000'000'000;

using Parameters = std::map<std::string, std::string>;

// What a request asks for, taken apart.
struct Question {
  const PageRequest* request = nullptr;
  std::int64_t id = 0;  // From the path, where it has one.
  Parameters parameters = {};
};

PageAnswer json(const ZORValue& value, int status = 200) {
  return {.status = status, .body = jsonForDisplay(value) + "\n"};
}

PageAnswer problem(int status, const std::string& words) {
  return json(ZORValue::dictionary({{"error", words}}), status);
}

std::optional<std::int64_t> wholeNumber(const std::string& text, std::int64_t smallest,
                                        std::int64_t largest) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < smallest || number > largest) return std::nullopt;
  return number;
}

// nullopt: a percent sign without two digits behind it, or bytes that are not UTF-8.
std::optional<std::string> decoded(const std::string& text) {
  std::string clear;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '%') {
      clear += text[index] == '+' ? ' ' : text[index];
      continue;
    }
    const std::string digits = text.substr(index + 1, 2);
    unsigned byte = 0;
    const char* const end = digits.data() + digits.size();
    if (digits.size() != 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end) {
      return std::nullopt;
    }
    clear += static_cast<char>(byte);
    index += 2;
  }
  return isValidUtf8(clear) ? std::optional(clear) : std::nullopt;
}

// Reads "name=value&name=value" with the names in `known`, between blanks. Returns what is wrong.
std::string readQuery(const std::string& query, const std::string& known, Parameters& parameters) {
  for (std::size_t start = 0; start < query.size();) {
    const std::size_t end = std::min(query.find('&', start), query.size());
    const std::string pair = query.substr(start, end - start);
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const std::string name = pair.substr(0, equals);
    const auto value = decoded(pair.substr(std::min(equals + 1, pair.size())));
    if (name.empty() || (" " + known + " ").find(" " + name + " ") == std::string::npos) {
      return "unknown parameter \"" + wellFormedUtf8(name) +
             "\"; known here: " + (known.empty() ? "none" : known);
    }
    if (!value) return "parameter \"" + name + "\" is not percent-encoded UTF-8";
    if (!parameters.emplace(name, *value).second) return "parameter \"" + name + "\" comes twice";
    start = end + 1;
  }
  return "";
}

// A whole number in `parameters`, `fallback` when there is none. On a wrong one `wrong` says so.
std::int64_t numberOf(const Parameters& parameters, const char* name, std::int64_t fallback,
                      std::int64_t largest, std::string& wrong) {
  const auto found = parameters.find(name);
  if (found == parameters.end()) return fallback;
  const auto number = wholeNumber(found->second, 0, largest);
  if (!number) {
    wrong = std::string(name) + " must be a whole number from 0 to " + std::to_string(largest);
  }
  return number.value_or(fallback);
}

std::optional<std::string> textOf(const Parameters& parameters, const char* name) {
  const auto found = parameters.find(name);
  return found != parameters.end() && !found->second.empty() ? std::optional(found->second)
                                                             : std::nullopt;
}

bool isSet(const Parameters& parameters, const char* name) {
  return textOf(parameters, name) == "1";
}

std::string typeOf(const std::string& name) {
  const std::string ending = name.substr(std::min(name.rfind('.'), name.size()));
  if (ending == ".js") return "text/javascript; charset=utf-8";
  if (ending == ".css") return "text/css; charset=utf-8";
  return ending == ".svg" ? "image/svg+xml" : "text/html; charset=utf-8";
}

ZORValue tryValue(const ChainTry& one) {
  return ZORValue::dictionary({{"id", one.id},
                               {"route", routeName(one.route)},
                               {"startMs", one.timeMs},
                               {"endMs", one.endMs},
                               {"succeeded", one.succeeded},
                               {"address", one.address},
                               {"result", one.result}});
}

ZORValue waitingValue(const WaitingScript& waiting) {
  const ScriptMatch& match = waiting.match;
  return ZORValue::dictionary({{"id", waiting.id},
                               {"fault", waiting.script.fault},
                               {"route", match.route ? routeName(*match.route) : "any"},
                               {"address", ZORValue::orNull(match.address)},
                               {"usesLeft", ZORValue::orNull(waiting.usesLeft)}});
}

}  // namespace

class Inspector::Core {
 public:
  explicit Core(SandboxService& service)
      : _service(service),
        _server([this](const PageRequest& request) { return answer(request); }) {}

  std::optional<std::string> start(const std::filesystem::path& folder, std::uint16_t port) {
    std::string problem;
    _store = ExchangeStore::open(folder, problem);
    if (!_store) return problem;
    if (auto refused = _server.listen(port)) return "the page: " + *refused;
    _server.run();
    return std::nullopt;
  }

  template <typename Entry>
  void add(const Entry& entry) {
    _server.post([this, entry] {
      const std::int64_t id = _store->add(entry);
      if (id != 0) _server.publish("exchange", jsonForDisplay(_store->summary(id)), id);
      if (_store->problem() != _reportedProblem) {
        _reportedProblem = _store->problem();
        publishState();
      }
      if (!entry.fault.empty()) publishState();
    });
  }

  PageServer& server() { return _server; }

 private:
  struct Endpoint {
    const char* method;
    const char* path;  // A "*" at its end stands for a number.
    const char* parameters;
    PageAnswer (Core::*answer)(const Question&);
  };

  static const std::array<Endpoint, 16>& endpoints() {
    static constexpr std::array<Endpoint, 16> kEndpoints{{
        {"GET", "api/exchanges", "route outcome text fingerprint before after handshakes limit",
         &Core::listExchanges},
        {"GET", "api/exchanges/*", "reveal", &Core::oneExchange},
        {"DELETE", "api/exchanges", "", &Core::clearExchanges},
        {"GET", "api/devices", "", &Core::listDevices},
        {"GET", "api/difference", "from to reveal", &Core::difference},
        {"GET", "api/records", "limit", &Core::listRecords},
        {"GET", "api/calls", "limit", &Core::listCalls},
        {"GET", "api/state", "", &Core::state},
        {"GET", "api/fault-kinds", "", &Core::faultKinds},
        {"GET", "api/faults", "", &Core::listFaults},
        {"POST", "api/faults", "", &Core::addFault},
        {"DELETE", "api/faults", "", &Core::clearFaults},
        {"DELETE", "api/faults/*", "", &Core::removeFault},
        {"GET", "api/settings", "", &Core::settings},
        {"PATCH", "api/settings", "", &Core::changeSettings},
        {"GET", "api/events", "", &Core::events},
    }};
    return kEndpoints;
  }

  static bool fits(const std::string& pattern, const std::string& path, std::int64_t& id) {
    if (pattern.back() != '*') return pattern == path;
    const std::size_t start = pattern.size() - 1;
    if (path.compare(0, start, pattern, 0, start) != 0) return false;
    const auto number = wholeNumber(path.substr(start), 1, INT64_MAX);
    id = number.value_or(0);
    return number.has_value();
  }

  PageAnswer answer(const PageRequest& request) {
    std::string allowed;
    for (const Endpoint& endpoint : endpoints()) {
      Question question{&request};
      if (!fits(endpoint.path, request.path, question.id)) continue;
      if (request.method != endpoint.method) {
        allowed += (allowed.empty() ? "" : ", ") + std::string(endpoint.method);
        continue;
      }
      const std::string wrong = readQuery(request.query, endpoint.parameters, question.parameters);
      if (!wrong.empty()) return problem(kBadRequest, wrong);
      return (this->*endpoint.answer)(question);
    }
    return allowed.empty() ? pageFileAnswer(request) : refuseMethod(request.method, allowed);
  }

  static PageAnswer refuseMethod(const std::string& method, const std::string& allowed) {
    PageAnswer refusal =
        problem(kWrongMethod, "method " + method + " is not served here, only " + allowed);
    refusal.allow = allowed;
    return refusal;
  }

  static PageAnswer pageFileAnswer(const PageRequest& request) {
    const std::string name = request.path.empty() ? "index.html" : request.path;
    const std::string_view content = pageFile(name);
    if (content.empty()) return problem(kNotFound, "nothing is served here");
    if (request.method != "GET" && request.method != "HEAD") {
      return refuseMethod(request.method, "GET, HEAD");
    }
    return {.type = typeOf(name), .body = std::string(content)};
  }

  PageAnswer listExchanges(const Question& question) {
    const Parameters& given = question.parameters;
    std::string wrong;
    ExchangeFilter filter;
    filter.route = textOf(given, "route");
    filter.outcome = textOf(given, "outcome");
    filter.text = textOf(given, "text");
    filter.fingerprint = textOf(given, "fingerprint");
    filter.before = numberOf(given, "before", 0, INT64_MAX, wrong);
    filter.after = numberOf(given, "after", 0, INT64_MAX, wrong);
    filter.handshakes = isSet(given, "handshakes");
    filter.limit = static_cast<int>(numberOf(given, "limit", filter.limit, kMaxListed, wrong));
    if (filter.route && !routeFromName(*filter.route)) wrong = "there is no such route";
    constexpr const char* kOutcomes = " answered refused fault failed opened ";
    if (filter.outcome &&
        std::string(kOutcomes).find(" " + *filter.outcome + " ") == std::string::npos) {
      wrong = std::string("outcome must be one of:") + kOutcomes;
    }
    if (!wrong.empty()) return problem(kBadRequest, wrong);
    return json(ZORValue::dictionary({{"exchanges", _store->exchanges(filter)}}));
  }

  PageAnswer oneExchange(const Question& question) {
    ZORValue found = _store->exchange(question.id, isSet(question.parameters, "reveal"));
    if (found.isNull()) {
      return problem(kNotFound, "there is no exchange " + std::to_string(question.id));
    }
    return json(found);
  }

  PageAnswer clearExchanges(const Question&) {
    if (!_store->clear()) return problem(kStorageFailed, "the log cannot be emptied");
    _server.publish("cleared", "{}", 0);
    return json(ZORValue::dictionary());
  }

  PageAnswer listDevices(const Question&) {
    return json(ZORValue::dictionary({{"devices", _store->devices()}}));
  }

  PageAnswer difference(const Question& question) {
    std::string wrong;
    const std::int64_t from = numberOf(question.parameters, "from", 0, INT64_MAX, wrong);
    const std::int64_t to = numberOf(question.parameters, "to", 0, INT64_MAX, wrong);
    if (!wrong.empty()) return problem(kBadRequest, wrong);
    ZORValue changes = _store->difference(from, to, isSet(question.parameters, "reveal"));
    if (changes.isNull()) {
      return problem(kNotFound, "from and to must be exchanges with a report that was read");
    }
    return json(ZORValue::dictionary({{"changes", std::move(changes)}}));
  }

  PageAnswer listRecords(const Question& question) {
    std::string wrong;
    const auto limit = numberOf(question.parameters, "limit", kMaxListed, kMaxListed, wrong);
    if (!wrong.empty()) return problem(kBadRequest, wrong);
    return json(
        ZORValue::dictionary({{"records", _store->failureRecords(static_cast<int>(limit))}}));
  }

  // The newest call first.
  PageAnswer listCalls(const Question& question) {
    std::string wrong;
    const auto limit = numberOf(question.parameters, "limit", 50, kMaxListed, wrong);
    if (!wrong.empty()) return problem(kBadRequest, wrong);
    const auto chains = callChains(_store->chainEvents(kExchangesWithCalls));
    ZORValue calls = ZORValue::array();
    for (auto chain = chains.rbegin(); chain != chains.rend(); ++chain) {
      if (calls.size() >= static_cast<std::size_t>(limit)) break;
      ZORValue tries = ZORValue::array();
      for (const ChainTry& one : chain->tries) tries.append(tryValue(one));
      calls.append(
          ZORValue::dictionary({{"succeeded", chain->succeeded}, {"tries", std::move(tries)}}));
    }
    return json(ZORValue::dictionary({{"calls", std::move(calls)}}));
  }

  ZORValue faultValues() const {
    ZORValue faults = ZORValue::array();
    for (const WaitingScript& waiting : _service.scripts()) faults.append(waitingValue(waiting));
    return faults;
  }

  ZORValue settingValues() const {
    const SandboxSettings settings = _service.settings();
    return ZORValue::dictionary(
        {{"expirySeconds", settings.expirySeconds}, {"lifetimeSeconds", settings.lifetimeSeconds}});
  }

  // What may change while a page looks on, apart from the exchanges.
  ZORValue stateValue() const {
    return ZORValue::dictionary({{"faults", faultValues()},
                                 {"settings", settingValues()},
                                 {"storageProblem", _store->problem()}});
  }

  void publishState() { _server.publish("state", jsonForDisplay(stateValue()), 0); }

  PageAnswer state(const Question&) { return json(stateValue()); }

  PageAnswer faultKinds(const Question&) {
    ZORValue kinds = ZORValue::array();
    for (const FaultWords& words : faultWords()) {
      kinds.append(ZORValue::dictionary(
          {{"name", words.name}, {"argument", words.argument}, {"meaning", words.meaning}}));
    }
    ZORValue routes = ZORValue::array();
    for (const Route route : {Route::name, Route::bootstrap, Route::query, Route::address,
                              Route::backupService, Route::backupAddress, Route::pingback}) {
      routes.append(routeName(route));
    }
    return json(ZORValue::dictionary({{"routes", std::move(routes)}, {"kinds", std::move(kinds)}}));
  }

  PageAnswer listFaults(const Question&) {
    return json(ZORValue::dictionary({{"faults", faultValues()}}));
  }

  PageAnswer addFault(const Question& question) {
    const auto body = valueFromJson(question.request->body);
    const ZORValue* text = body ? body->find("fault") : nullptr;
    if (text == nullptr || !text->isText() || body->size() != 1) {
      return problem(kBadRequest, "the body must be JSON like {\"fault\": \"name*2=status:500\"}");
    }
    std::string wrong;
    const auto fault = readFault(*text->text(), wrong);
    if (!fault) return problem(kBadRequest, wrong);
    const std::uint64_t id = _service.script(fault->match, fault->script, fault->uses);
    publishState();
    return json(ZORValue::dictionary({{"id", id}}), kCreated);
  }

  PageAnswer clearFaults(const Question&) {
    _service.clearScripts();
    publishState();
    return json(ZORValue::dictionary());
  }

  PageAnswer removeFault(const Question& question) {
    if (!_service.removeScript(static_cast<std::uint64_t>(question.id))) {
      return problem(kNotFound, "no fault has the number " + std::to_string(question.id) +
                                    "; it may be used up");
    }
    publishState();
    return json(ZORValue::dictionary());
  }

  PageAnswer settings(const Question&) { return json(settingValues()); }

  PageAnswer changeSettings(const Question& question) {
    const auto body = valueFromJson(question.request->body);
    if (!body || !body->isDictionary())
      return problem(kBadRequest, "the body is not a JSON object");
    for (const auto& [name, value] : body->entries()) {
      if (name != "expirySeconds" && name != "lifetimeSeconds") {
        return problem(kBadRequest,
                       "unknown setting \"" + name + "\"; known: expirySeconds, lifetimeSeconds");
      }
      const auto seconds = value.integer();
      if (!seconds || *seconds < 0 || *seconds > kMaxSeconds) {
        return problem(kBadRequest,
                       name + " must be a whole number from 0 to " + std::to_string(kMaxSeconds));
      }
    }
    _service.changeSettings([&body](SandboxSettings& settings) {
      settings.expirySeconds = (*body)["expirySeconds"].integer().value_or(settings.expirySeconds);
      settings.lifetimeSeconds =
          (*body)["lifetimeSeconds"].integer().value_or(settings.lifetimeSeconds);
    });
    publishState();
    return json(settingValues());
  }

  // A listener that returns gets what it has missed, the oldest first.
  PageAnswer events(const Question& question) {
    PageAnswer stream;
    stream.isStream = true;
    stream.body = eventText("state", jsonForDisplay(stateValue()), 0);
    const auto last = wholeNumber(question.request->lastEventId, 1, INT64_MAX);
    if (!last) return stream;
    ExchangeFilter missed;
    missed.after = *last;
    missed.handshakes = true;
    missed.limit = static_cast<int>(kMaxListed);
    const ZORValue newestFirst = _store->exchanges(missed);
    for (std::size_t index = newestFirst.size(); index > 0; --index) {
      const ZORValue& summary = newestFirst[index - 1];
      stream.body +=
          eventText("exchange", jsonForDisplay(summary), summary["id"].integer().value_or(0));
    }
    return stream;
  }

  SandboxService& _service;
  // On the server's thread only, after the start.
  std::unique_ptr<ExchangeStore> _store;
  std::string _reportedProblem;
  PageServer _server;  // Last: its thread uses all the rest.
};

Inspector::Inspector(SandboxService& service) : _core(std::make_unique<Core>(service)) {}

Inspector::~Inspector() = default;

void Inspector::add(const Received& request) { _core->add(request); }

void Inspector::add(const Handshake& handshake) { _core->add(handshake); }

std::optional<std::string> Inspector::start(const std::filesystem::path& folder,
                                            std::uint16_t port) {
  return _core->start(folder, port);
}

std::string Inspector::url() const { return _core->server().url(); }

void Inspector::stop() { _core->server().stop(); }

}  // namespace zor::sandbox
