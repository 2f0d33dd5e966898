#include "sandbox/inspector/sqlite_database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zor::sandbox {
namespace {

constexpr int kBusyMilliseconds = 2000;
constexpr mode_t kOwnerOnly = 0600;

// SQLite would create the file with the umask's permissions. Its journal files take the database's
// permissions. Returns what went wrong.
std::string makePrivate(const std::filesystem::path& path) {
  const int descriptor =
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kOwnerOnly);
  if (descriptor < 0) return std::strerror(errno);
  struct stat status {};
  std::string problem;
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    problem = "not a regular file";
  } else if (::fchmod(descriptor, kOwnerOnly) != 0) {
    problem = std::strerror(errno);
  }
  ::close(descriptor);
  return problem;
}

}  // namespace

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);  // Repeats the last step's error, which has been noted.
}

Statement::Statement(Database& database, std::string_view sql) : _database(database) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(database._handle.get(), sql.data(),
                                        static_cast<int>(sql.size()), &statement, nullptr);
  _statement.reset(statement);
  if (result != SQLITE_OK) database.noteProblem();
}

Statement& Statement::bind(std::int64_t number) {
  sqlite3_bind_int64(_statement.get(), ++_bound, number);
  return *this;
}

Statement& Statement::bind(const std::string& text) {
  sqlite3_bind_text64(_statement.get(), ++_bound, text.data(), text.size(), SQLITE_TRANSIENT,
                      SQLITE_UTF8);
  return *this;
}

Statement& Statement::bind(const std::optional<std::string>& text) {
  if (text) return bind(*text);
  sqlite3_bind_null(_statement.get(), ++_bound);
  return *this;
}

Statement& Statement::bindBytes(std::string_view bytes) {
  sqlite3_bind_blob64(_statement.get(), ++_bound, bytes.data() != nullptr ? bytes.data() : "",
                      bytes.size(), SQLITE_TRANSIENT);
  return *this;
}

bool Statement::step() {
  if (!_statement) return false;
  const int result = sqlite3_step(_statement.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) _database.noteProblem();
  return result == SQLITE_ROW;
}

bool Statement::run() {
  if (!_statement) return false;
  int result = SQLITE_ROW;
  while (result == SQLITE_ROW) result = sqlite3_step(_statement.get());
  if (result != SQLITE_DONE) _database.noteProblem();
  return result == SQLITE_DONE;
}

std::int64_t Statement::number(int column) const {
  return sqlite3_column_int64(_statement.get(), column);
}

std::string Statement::text(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(_statement.get(), column));
  const int size = sqlite3_column_bytes(_statement.get(), column);
  return bytes != nullptr ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(_statement.get(), column) == SQLITE_NULL;
}

void Database::Close::operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }

void Database::noteProblem() { _problem = sqlite3_errmsg(_handle.get()); }

std::unique_ptr<Database> Database::open(const std::filesystem::path& path, std::string& problem) {
  problem = makePrivate(path);
  if (!problem.empty()) return nullptr;
  std::unique_ptr<Database> database(new Database());
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  database->_handle.reset(handle);
  if (result != SQLITE_OK) {
    problem = handle != nullptr ? sqlite3_errmsg(handle) : "out of memory";
    return nullptr;
  }
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
  return database;
}

bool Database::run(const char* sql) {
  if (sqlite3_exec(_handle.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  noteProblem();
  return false;
}

std::int64_t Database::lastRowId() const { return sqlite3_last_insert_rowid(_handle.get()); }

std::int64_t Database::changes() const { return sqlite3_changes64(_handle.get()); }

}  // namespace zor::sandbox
