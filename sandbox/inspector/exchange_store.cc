#include "sandbox/inspector/exchange_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <utility>

#include "collector/ZORDataCollector_mac.h"
#include "sandbox/inspector/sqlite_database.h"
#include "sandbox/profile_words.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kMaxKeptBytes = 1U << 20U;        // Of a body, an answer or a report.
constexpr std::size_t kMaxShownBytes = 1U << 18U;       // Of one of them in an answer of the page.
constexpr std::size_t kMaxShownInList = 200;            // Of an answer in the list.
constexpr std::int64_t kMaxExchanges = 100'000;         // The oldest are removed first.
constexpr std::int64_t kExchangesBetweenPrunings = 64;  // Each looks at the whole table.
constexpr int kMinRefusalStatus = 400;
constexpr const char* kMask = "\u2022\u2022\u2022\u2022\u2022\u2022";

constexpr const char* kSchema = R"(
BEGIN IMMEDIATE;
PRAGMA application_id = 0x7a6f7273;
PRAGMA user_version = 1;
CREATE TABLE exchanges (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  run INTEGER NOT NULL,         -- when the program started, in milliseconds since 1970
  kind TEXT NOT NULL,           -- 'request' or 'handshake'
  time_ms INTEGER NOT NULL,     -- since 1970
  connection INTEGER NOT NULL,  -- counted from 1 in each run
  route TEXT NOT NULL,
  outcome TEXT NOT NULL,        -- 'answered', 'refused', 'fault', 'failed' or 'opened'
  local_address TEXT NOT NULL,
  server_name TEXT NOT NULL,
  client TEXT NOT NULL,
  host TEXT, method TEXT, target TEXT,
  headers TEXT,                 -- JSON, an array of pairs
  body BLOB, body_bytes INTEGER,
  verdict TEXT NOT NULL,
  signature TEXT,               -- 'right' or 'wrong'
  status INTEGER,               -- 0: no answer was given
  answer BLOB, answer_bytes INTEGER,
  fault TEXT,                   -- as the command line writes it
  fingerprint TEXT, rule TEXT,
  report TEXT, identity TEXT,   -- JSON
  bundle_version TEXT
);
CREATE INDEX exchanges_of_device ON exchanges (fingerprint) WHERE fingerprint IS NOT NULL;
CREATE TABLE failure_records (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  exchange INTEGER NOT NULL REFERENCES exchanges (id) ON DELETE CASCADE,
  class TEXT, type TEXT, description TEXT,
  application TEXT, application_version TEXT,
  library TEXT, library_version TEXT,
  system TEXT, fingerprint TEXT
);
CREATE INDEX records_of_exchange ON failure_records (exchange);
COMMIT;
)";

constexpr std::int64_t kApplicationId = 0x7a6f7273;
constexpr std::int64_t kSchemaVersion = 1;

std::int64_t milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

std::string shown(const ZORValue& value) {
  return value.isText() ? *value.text() : jsonForDisplay(value);
}

std::string_view cut(const std::string& text, std::size_t limit) {
  return std::string_view(text).substr(0, limit);
}

// Text columns hold valid UTF-8 only, whatever a client sends.
std::string clean(const std::string& text) { return wellFormedUtf8(cut(text, kMaxKeptBytes)); }

std::optional<std::string> textOf(const ZORValue& value, std::string_view key) {
  const ZORValue* entry = value.find(key);
  return entry != nullptr ? std::optional(clean(shown(*entry))) : std::nullopt;
}

// A report that is too long to keep counts as absent; the body shows its start.
std::optional<std::string> jsonOf(const ZORValue& details, const char* key) {
  const ZORValue* value = details.find(key);
  if (value == nullptr) return std::nullopt;
  std::string json = jsonForDisplay(*value);
  return json.size() <= kMaxKeptBytes ? std::optional(std::move(json)) : std::nullopt;
}

std::string headerNamed(const std::vector<Header>& headers, std::string_view name) {
  for (const auto& [key, value] : headers) {
    if (key == name) return value;
  }
  return "";
}

// The application that a report or the first failure record names, else the HTTP library.
std::string clientOf(const Received& request) {
  const auto joined = [](const ZORValue& source, std::string_view name, std::string_view version) {
    std::string client = textOf(source, name).value_or("");
    if (const auto text = textOf(source, version); text && !client.empty()) client += " " + *text;
    return client;
  };
  std::string client;
  if (const ZORValue* report = request.details.find("report")) {
    client = joined(*report, words::kParamBundleIdentifierKey.view(),
                    words::kParamBundleValueKey.view());
  } else if (const ZORValue* records = request.details.find("records")) {
    client = joined((*records)[0], words::kPingbackApplicationKey.view(),
                    words::kPingbackApplicationVersionKey.view());
  }
  return client.empty() ? clean(headerNamed(request.headers, "User-Agent")) : client;
}

std::string outcomeOf(const Received& request) {
  if (request.scripted) return "fault";
  const bool refused =
      request.status >= kMinRefusalStatus || request.details.find("refused") != nullptr;
  return refused ? "refused" : "answered";
}

std::string outcomeOf(const Handshake& handshake) {
  const bool spoiled = !handshake.fault.empty() || handshake.certificate != Certificate::ordinary;
  if (spoiled) return "fault";
  return handshake.accepted ? "opened" : "failed";
}

std::string verdictOf(const Handshake& handshake) {
  const std::string certificate = certificateName(handshake.certificate) + " certificate";
  return handshake.accepted ? certificate + " accepted"
                            : certificate + ", handshake failed: " + handshake.problem;
}

ZORValue headerPairs(const std::vector<Header>& headers) {
  ZORValue pairs = ZORValue::array();
  for (const auto& [name, value] : headers) pairs.append(ZORValue::array({name, value}));
  return pairs;
}

// Texts are shown unchanged, anything else as JSON, so that no number loses digits in a browser.
ZORValue entryOf(const std::string& key, const ZORValue& value) {
  return ZORValue::dictionary({{"key", key},
                               {"value", std::string(cut(shown(value), kMaxShownBytes))},
                               {"isText", value.isText()}});
}

// The report's entries in the order in which the library collects them, then unknown ones.
ZORValue entriesOf(ZORValue report) {
  ZORValue entries = ZORValue::array();
  for (const ReportEntry& known : reportEntries()) {
    const ZORValue* value = report.find(known.key);
    if (value == nullptr) continue;
    entries.append(entryOf(known.key, *value));
    report.erase(known.key);
  }
  for (const auto& [key, value] : report.entries()) entries.append(entryOf(key, value));
  return entries;
}

ZORValue identityOf(const ZORValue& identity, bool reveal) {
  ZORValue entries = ZORValue::array();
  for (const auto& [key, value] : identity.entries()) {
    entries.append(reveal || value.isNull() ? entryOf(key, value) : entryOf(key, kMask));
  }
  return ZORValue::dictionary({{"revealed", reveal}, {"entries", std::move(entries)}});
}

ZORValue shownOrNull(const ZORValue* value, bool reveal) {
  if (value == nullptr) return nullptr;
  return reveal ? shown(*value) : kMask;
}

void addDifferences(const ZORValue& from, const ZORValue& to, bool reveal, const char* part,
                    ZORValue& changes) {
  ZORValue keys = from;
  for (const auto& [key, value] : to.entries()) keys.set(key, value);
  for (const auto& [key, value] : keys.entries()) {
    const ZORValue* before = from.find(key);
    const ZORValue* after = to.find(key);
    if (before != nullptr && after != nullptr && *before == *after) continue;
    changes.append(ZORValue::dictionary({{"part", part},
                                         {"key", key},
                                         {"before", shownOrNull(before, reveal)},
                                         {"after", shownOrNull(after, reveal)}}));
  }
}

// A LIKE pattern that finds exactly `text`.
std::string containing(const std::string& text) {
  std::string pattern = "%";
  for (const char letter : text) {
    if (letter == '%' || letter == '_' || letter == '\\') pattern += '\\';
    pattern += letter;
  }
  return pattern + "%";
}

constexpr const char* kSummaryColumns =
    "SELECT id, kind, time_ms, route, outcome, client, verdict, status, answer, fault, fingerprint,"
    " method, target, local_address, host, answer_bytes FROM exchanges ";

ZORValue textOrNull(const Statement& row, int column) {
  return row.isNull(column) ? ZORValue() : ZORValue(row.text(column));
}

ZORValue summaryOf(const Statement& row) {
  return ZORValue::dictionary({{"id", row.number(0)},
                               {"kind", row.text(1)},
                               {"timeMs", row.number(2)},
                               {"route", row.text(3)},
                               {"outcome", row.text(4)},
                               {"client", row.text(5)},
                               {"verdict", std::string(cut(row.text(6), kMaxShownInList))},
                               {"status", row.isNull(7) ? ZORValue() : row.number(7)},
                               {"answer", std::string(cut(row.text(8), kMaxShownInList))},
                               {"fault", textOrNull(row, 9)},
                               {"fingerprint", textOrNull(row, 10)},
                               {"method", textOrNull(row, 11)},
                               {"target", std::string(cut(row.text(12), kMaxShownInList))},
                               {"address", row.text(13)},
                               {"host", textOrNull(row, 14)},
                               {"answerBytes", row.isNull(15) ? ZORValue() : row.number(15)}});
}

ZORValue parsed(const Statement& row, int column) {
  return valueFromJson(row.text(column)).value_or(ZORValue());
}

}  // namespace

class ExchangeStore::Queries {
 public:
  explicit Queries(std::unique_ptr<Database> opened) : database(std::move(opened)) {}

  // An empty file becomes a log; any file that is not a log of this program is left alone.
  std::string prepare() {
    const std::int64_t application = pragma("PRAGMA application_id");
    const std::int64_t version = pragma("PRAGMA user_version");
    const std::int64_t tables = pragma("SELECT count(*) FROM sqlite_schema");
    if (!database->problem().empty()) return database->problem();
    if (tables == 0) {
      database->run("PRAGMA journal_mode = WAL");
      database->run(kSchema);
    } else if (application != kApplicationId) {
      return "it is another program's database";
    } else if (version != kSchemaVersion) {
      return "it was written by another version of this program";
    }
    database->run("PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON");
    return database->problem();
  }

  // Keeps the file from growing without end.
  void prune() {
    if (++_added % kExchangesBetweenPrunings != 0) return;
    Statement(*database, "DELETE FROM exchanges WHERE id <= (SELECT max(id) FROM exchanges) - ?")
        .bind(kMaxExchanges)
        .run();
  }

  void addRecords(std::int64_t exchange, const ZORValue& records) {
    for (const ZORValue& record : records.elements()) {
      Statement insert(*database,
                       "INSERT INTO failure_records (exchange, class, type, description,"
                       " application, application_version, library, library_version, system,"
                       " fingerprint) VALUES (?,?,?,?,?,?,?,?,?,?)");
      insert.bind(exchange);
      for (const std::string_view key :
           {words::kPingbackErrorClassKey.view(), words::kPingbackErrorTypeKey.view(),
            words::kPingbackErrorDescriptionKey.view(), words::kPingbackApplicationKey.view(),
            words::kPingbackApplicationVersionKey.view(), words::kPingbackLibraryKey.view(),
            words::kPingbackLibraryVersionKey.view(), words::kPingbackSystemKey.view(),
            words::kPingbackFingerprintKey.view()}) {
        insert.bind(textOf(record, key));
      }
      insert.run();
    }
  }

  ZORValue difference(const Statement& from, const Statement& to, bool reveal) {
    ZORValue changes = ZORValue::array();
    ZORValue before = parsed(from, 0);
    ZORValue after = parsed(to, 0);
    // It differs whenever its content does, and means nothing by itself.
    before.erase(words::kParamSealedBlockKey.view());
    after.erase(words::kParamSealedBlockKey.view());
    addDifferences(before, after, true, "report", changes);
    addDifferences(parsed(from, 1), parsed(to, 1), reveal, "identity", changes);
    return changes;
  }

  const std::unique_ptr<Database> database;
  const std::int64_t run = milliseconds(std::chrono::system_clock::now());

 private:
  std::int64_t pragma(const char* sql) {
    Statement statement(*database, sql);
    return statement.step() ? statement.number(0) : 0;
  }

  std::int64_t _added = 0;
};

ExchangeStore::ExchangeStore(std::unique_ptr<Queries> queries) : _queries(std::move(queries)) {}

ExchangeStore::~ExchangeStore() = default;

std::unique_ptr<ExchangeStore> ExchangeStore::open(const std::filesystem::path& folder,
                                                   std::string& problem) {
  const std::filesystem::path path = folder / "exchanges.db";
  auto database = Database::open(path, problem);
  std::unique_ptr<Queries> queries;
  if (database) {
    queries = std::make_unique<Queries>(std::move(database));
    problem = queries->prepare();
  }
  if (problem.empty()) return std::unique_ptr<ExchangeStore>(new ExchangeStore(std::move(queries)));
  problem = "cannot use the log " + path.string() + ": " + problem +
            "; move it away, or choose another --state";
  return nullptr;
}

std::int64_t ExchangeStore::add(const Received& request) {
  Database& database = *_queries->database;
  database.clearProblem();
  database.run("BEGIN");
  Statement insert(database,
                   "INSERT INTO exchanges (run, kind, time_ms, connection, route, outcome,"
                   " local_address, server_name, client, host, method, target, headers, body,"
                   " body_bytes, verdict, signature, status, answer, answer_bytes, fault,"
                   " fingerprint, rule, report, identity, bundle_version)"
                   " VALUES (?,'request',?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  insert.bind(_queries->run).bind(milliseconds(request.time));
  insert.bind(static_cast<std::int64_t>(request.connection));
  insert.bind(routeName(request.route)).bind(outcomeOf(request)).bind(request.localAddress);
  insert.bind(clean(request.serverName)).bind(clientOf(request)).bind(clean(request.host));
  insert.bind(clean(request.method)).bind(clean(request.target));
  insert.bind(jsonForDisplay(headerPairs(request.headers)));
  insert.bindBytes(cut(request.body, kMaxKeptBytes));
  insert.bind(static_cast<std::int64_t>(request.body.size())).bind(clean(request.verdict));
  insert.bind(textOf(request.details, "signature"));
  insert.bind(static_cast<std::int64_t>(request.status));
  insert.bindBytes(cut(request.answer, kMaxKeptBytes));
  insert.bind(static_cast<std::int64_t>(request.answer.size()));
  insert.bind(request.scripted ? std::optional(clean(request.fault)) : std::nullopt);
  insert.bind(textOf(request.details, "fingerprint")).bind(textOf(request.details, "rule"));
  insert.bind(jsonOf(request.details, "report")).bind(jsonOf(request.details, "identity"));
  insert.bind(textOf(request.details, "bundleVersion"));
  insert.run();
  const std::int64_t id = database.lastRowId();
  _queries->addRecords(id, request.details["records"]);
  _queries->prune();
  _problem = database.problem();
  if (_problem.empty() && database.run("COMMIT")) return id;
  _problem = database.problem();
  database.run("ROLLBACK");
  return 0;
}

std::int64_t ExchangeStore::add(const Handshake& handshake) {
  Database& database = *_queries->database;
  database.clearProblem();
  Statement insert(database,
                   "INSERT INTO exchanges (run, kind, time_ms, connection, route, outcome,"
                   " local_address, server_name, client, verdict, fault)"
                   " VALUES (?,'handshake',?,?,?,?,?,?,'',?,?)");
  insert.bind(_queries->run).bind(milliseconds(handshake.time));
  insert.bind(static_cast<std::int64_t>(handshake.connection)).bind(routeName(handshake.route));
  insert.bind(outcomeOf(handshake)).bind(handshake.localAddress);
  insert.bind(clean(handshake.serverName)).bind(clean(verdictOf(handshake)));
  insert.bind(handshake.fault.empty() ? std::nullopt : std::optional(clean(handshake.fault)));
  insert.run();
  const std::int64_t id = database.lastRowId();
  _queries->prune();
  _problem = database.problem();
  return _problem.empty() ? id : 0;
}

ZORValue ExchangeStore::exchanges(const ExchangeFilter& filter) {
  std::string sql = kSummaryColumns;
  sql +=
      "WHERE (?1 IS NULL OR route = ?1) AND (?2 IS NULL OR outcome = ?2)"
      " AND (?3 IS NULL OR client LIKE ?3 ESCAPE '\\' OR verdict LIKE ?3 ESCAPE '\\'"
      " OR CAST(answer AS TEXT) LIKE ?3 ESCAPE '\\' OR host LIKE ?3 ESCAPE '\\'"
      " OR local_address LIKE ?3 ESCAPE '\\' OR fault LIKE ?3 ESCAPE '\\')"
      " AND (?4 IS NULL OR fingerprint = ?4) AND (?5 = 0 OR id < ?5) AND id > ?6"
      " AND (?7 OR outcome <> 'opened') ORDER BY id DESC LIMIT ?8";
  Statement rows(*_queries->database, sql);
  rows.bind(filter.route).bind(filter.outcome);
  rows.bind(filter.text ? std::optional(containing(*filter.text)) : std::nullopt);
  rows.bind(filter.fingerprint).bind(filter.before).bind(filter.after);
  rows.bind(std::int64_t{filter.handshakes}).bind(std::int64_t{filter.limit});
  ZORValue list = ZORValue::array();
  while (rows.step()) list.append(summaryOf(rows));
  return list;
}

ZORValue ExchangeStore::summary(std::int64_t id) {
  Statement row(*_queries->database, std::string(kSummaryColumns) + "WHERE id = ?");
  return row.bind(id).step() ? summaryOf(row) : ZORValue();
}

ZORValue ExchangeStore::exchange(std::int64_t id, bool revealIdentity) {
  ZORValue all = summary(id);
  if (all.isNull()) return nullptr;
  Statement row(*_queries->database,
                "SELECT server_name, headers, body, body_bytes, signature, answer, rule, report,"
                " identity, bundle_version, verdict, target, connection FROM exchanges"
                " WHERE id = ?");
  if (!row.bind(id).step()) return nullptr;
  all.set("serverName", row.text(0));
  all.set("headers", parsed(row, 1));
  all.set("body", std::string(cut(row.text(2), kMaxShownBytes)));
  all.set("bodyBytes", row.number(3));
  all.set("signature", textOrNull(row, 4));
  all.set("answer", std::string(cut(row.text(5), kMaxShownBytes)));
  all.set("rule", textOrNull(row, 6));
  all.set("report", row.isNull(7) ? ZORValue() : entriesOf(parsed(row, 7)));
  all.set("identity", row.isNull(8) ? ZORValue() : identityOf(parsed(row, 8), revealIdentity));
  all.set("bundleVersion", textOrNull(row, 9));
  all.set("verdict", row.text(10));
  all.set("target", std::string(cut(row.text(11), kMaxShownBytes)));
  all.set("connection", row.number(12));
  return all;
}

ZORValue ExchangeStore::devices() {
  Statement rows(*_queries->database,
                 "SELECT fingerprint, count(*), min(time_ms), max(time_ms), client, rule,"
                 " identity IS NOT NULL, max(id) FROM exchanges WHERE fingerprint IS NOT NULL"
                 " GROUP BY fingerprint ORDER BY max(id) DESC");
  ZORValue list = ZORValue::array();
  while (rows.step()) {
    list.append(ZORValue::dictionary({{"fingerprint", rows.text(0)},
                                      {"reports", rows.number(1)},
                                      {"firstMs", rows.number(2)},
                                      {"lastMs", rows.number(3)},
                                      {"client", rows.text(4)},
                                      {"rule", textOrNull(rows, 5)},
                                      {"opened", rows.number(6) != 0}}));
  }
  return list;
}

ZORValue ExchangeStore::difference(std::int64_t from, std::int64_t to, bool revealIdentity) {
  constexpr const char* kReportOf =
      "SELECT report, coalesce(identity, '{}') FROM exchanges WHERE id = ? AND report IS NOT NULL";
  Statement before(*_queries->database, kReportOf);
  Statement after(*_queries->database, kReportOf);
  if (!before.bind(from).step() || !after.bind(to).step()) return nullptr;
  return _queries->difference(before, after, revealIdentity);
}

ZORValue ExchangeStore::failureRecords(int limit) {
  constexpr std::array<const char*, 10> kColumns{
      "class",   "type",           "description", "application", "applicationVersion",
      "library", "libraryVersion", "system",      "fingerprint", "exchange"};
  Statement rows(*_queries->database,
                 "SELECT class, type, description, application, application_version, library,"
                 " library_version, system, failure_records.fingerprint, exchange, time_ms"
                 " FROM failure_records JOIN exchanges ON exchanges.id = exchange"
                 " ORDER BY failure_records.id DESC LIMIT ?");
  rows.bind(std::int64_t{limit});
  ZORValue list = ZORValue::array();
  while (rows.step()) {
    ZORValue record = ZORValue::dictionary({{"timeMs", rows.number(kColumns.size())}});
    for (std::size_t column = 0; column < kColumns.size(); ++column) {
      record.set(kColumns[column], textOrNull(rows, static_cast<int>(column)));
    }
    list.append(std::move(record));
  }
  return list;
}

std::vector<ChainEvent> ExchangeStore::chainEvents(int limit) {
  Statement rows(*_queries->database,
                 "SELECT id, run, connection, time_ms, route, kind, outcome, status, local_address,"
                 " verdict, fault FROM exchanges ORDER BY id DESC LIMIT ?");
  rows.bind(std::int64_t{limit});
  std::vector<ChainEvent> events;
  while (rows.step()) {
    ChainEvent event;
    event.id = rows.number(0);
    event.run = rows.number(1);
    event.connection = rows.number(2);
    event.timeMs = rows.number(3);
    event.route = routeFromName(rows.text(4)).value_or(Route::unknown);
    event.isHandshake = rows.text(5) == "handshake";
    const std::string outcome = rows.text(6);
    // Of the faults only a delay leaves the answer as it was.
    const bool isLate = rows.text(10).find("=delay:") != std::string::npos;
    event.succeeded = outcome == "answered" || outcome == "opened" || isLate;
    event.address = rows.text(8);
    event.result = rows.text(rows.isNull(10) || rows.text(10).empty() ? 9 : 10);
    events.push_back(std::move(event));
  }
  std::reverse(events.begin(), events.end());
  return events;
}

bool ExchangeStore::clear() {
  _queries->database->clearProblem();
  return _queries->database->run("DELETE FROM exchanges");
}

}  // namespace zor::sandbox
