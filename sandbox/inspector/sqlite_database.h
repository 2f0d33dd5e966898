// SQLite's C interface with owners and without its error codes. The only file that uses SQLite.
#ifndef ZOR_SANDBOX_INSPECTOR_SQLITE_DATABASE_H_
#define ZOR_SANDBOX_INSPECTOR_SQLITE_DATABASE_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace zor::sandbox {

class Database;

// One SQL statement. Parameters and columns count from 0. Must not outlive its database.
class Statement {
 public:
  Statement(Database& database, std::string_view sql);

  // Each binds the next parameter. An empty optional binds NULL.
  Statement& bind(std::int64_t number);
  Statement& bind(const std::string& text);
  Statement& bind(const std::optional<std::string>& text);
  Statement& bindBytes(std::string_view bytes);

  // Whether there is a row to read. False at the end, and when the database fails; then its
  // problem() says why.
  bool step();
  // Runs it to its end; false: the database failed.
  bool run();

  std::int64_t number(int column) const;
  std::string text(int column) const;  // Also bytes; empty for NULL.
  bool isNull(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  Database& _database;
  std::unique_ptr<sqlite3_stmt, Finalize> _statement;
  int _bound = 0;
};

// One open database file. Not for two threads at once.
class Database {
 public:
  // Opens the file at `path`, or creates it, readable by its owner alone; others lose their access
  // to an existing file. On failure nothing is returned and `problem` says why.
  static std::unique_ptr<Database> open(const std::filesystem::path& path, std::string& problem);

  // Runs statements without parameters; false: one failed, those after it did not run.
  bool run(const char* sql);
  std::int64_t lastRowId() const;
  std::int64_t changes() const;  // Rows that the last statement changed.

  // Describes the last failure since it was cleared; empty: none.
  const std::string& problem() const { return _problem; }
  void clearProblem() { _problem.clear(); }

 private:
  friend class Statement;
  struct Close {
    void operator()(sqlite3* handle) const noexcept;
  };

  Database() = default;
  void noteProblem();

  std::unique_ptr<sqlite3, Close> _handle;
  std::string _problem;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_SQLITE_DATABASE_H_
