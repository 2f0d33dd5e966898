// Output for people: tables on standard output, progress and diagnostics on standard error.
#ifndef ZOR_CLI_TERMINAL_H_
#define ZOR_CLI_TERMINAL_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace zor::cli {

// Prints rows as columns wide enough for their widest cell; the first row is the heading.
void printTable(const std::vector<std::vector<std::string>>& rows);

// As printTable(), but the last two columns fold at the terminal's width: what does not fit
// continues on the lines below. If the output is not a terminal, nothing folds unless COLUMNS is
// set.
void printFoldedTable(const std::vector<std::vector<std::string>>& rows);

// "2026-11-22 20:31:05 UTC"; "-" if absent or beyond what a calendar can show.
std::string shownTime(const std::optional<double>& secondsSince1970);

// Prints one line of compact JSON; ill-formed UTF-8 in it is replaced.
void printJson(const ZORValue& value);

// `value` for people: a text as it is (control characters escaped, bytes that are not valid UTF-8
// replaced), null as "-", the rest as JSON.
std::string shown(const ZORValue& value);

// Prints "zorfp: " and `message` on standard error.
void printDiagnostic(const std::string& message);

// `milliseconds` with one decimal: "12.3 ms".
std::string shownDuration(std::chrono::duration<double, std::milli> duration);

// Redirects standard output to standard error for its lifetime. Needed around every collection: by
// design, the reader of hardware addresses prints a line if a network device disappears while it is
// read, and a program that reads our JSON could not parse that line.
class StandardOutputToError {
 public:
  StandardOutputToError();
  ~StandardOutputToError();
  StandardOutputToError(const StandardOutputToError&) = delete;
  StandardOutputToError& operator=(const StandardOutputToError&) = delete;

 private:
  const int _standardOutput;  // Negative: it was closed, and nothing is redirected.
};

// Shows progress to a person who waits at a terminal; silent elsewhere.
class Progress {
 public:
  explicit Progress(std::string activity);
  ~Progress();  // Wipes the line.
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Shows the time waited so far. Call it about once a second or more often.
  void update();

 private:
  const std::string _activity;
  const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
  const bool _onTerminal;
};

}  // namespace zor::cli

#endif  // ZOR_CLI_TERMINAL_H_
