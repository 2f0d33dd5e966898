#include "cli/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <utility>

#include "support/json_codec.h"
#include "support/text.h"

namespace zor::cli {
namespace {

// Whether the byte at `index` of well-formed UTF-8 belongs to a control character: those of ASCII,
// or U+0080 to U+009F, which some terminals obey as well.
bool isOfControlCharacter(const std::string& text, std::size_t index) {
  const auto byteAt = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  constexpr unsigned char kLead = 0xC2;
  const auto isTrail = [](unsigned char byte) { return byte >= 0x80 && byte <= 0x9F; };
  const unsigned char byte = byteAt(index);
  if (byte < 0x20 || byte == 0x7F) return true;
  if (byte == kLead) return isTrail(byteAt(index + 1));
  return isTrail(byte) && byteAt(index - 1) == kLead;
}

// Names from devices and services reach the terminal; they must not be able to control it.
std::string withoutControlCharacters(const std::string& given) {
  const std::string text = wellFormedUtf8(given);
  std::string safe;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (!isOfControlCharacter(text, index)) {
      safe += text[index];
      continue;
    }
    char escape[5];
    std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(text[index]));
    safe += escape;
  }
  return safe;
}

constexpr std::size_t kGapColumns = 2;         // Between two columns of a table.
constexpr std::size_t kMinFoldedColumns = 16;  // On a narrower terminal lines overflow.

std::size_t widthOfColumn(const std::vector<std::vector<std::string>>& rows, std::size_t column) {
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, utf16Length(row[column]));
  return width;
}

// The width of the terminal behind standard output; COLUMNS wins. 0: lines may have any length.
std::size_t outputWidth() {
  const char* const setting = std::getenv("COLUMNS");
  const unsigned long given = setting != nullptr ? std::strtoul(setting, nullptr, 10) : 0;
  constexpr unsigned long kMaxColumns = 10000;
  if (given > 0 && given <= kMaxColumns) return given;
  struct winsize size {};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

// Where the first line of `text` ends, in bytes: at the last space that fits, else after as many
// characters as fit. The space itself may stand beyond the width.
std::size_t endOfLine(const std::string& text, std::size_t width) {
  std::size_t characters = 0;
  std::size_t space = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (!startsCharacter(text[index])) continue;
    if (text[index] == ' ') space = index;
    if (characters++ == width) return space != 0 ? space : index;
  }
  return text.size();
}

std::vector<std::string> foldedLines(std::string text, std::size_t width) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = endOfLine(text, width);
    lines.push_back(text.substr(0, end));
    text.erase(0, std::min(text.find_first_not_of(' ', end), text.size()));
  }
  return lines;
}

void addFoldedRow(const std::vector<std::string>& row, std::size_t lastButOne, std::size_t last,
                  std::vector<std::vector<std::string>>& folded) {
  const std::size_t columns = row.size();
  const auto left = foldedLines(row[columns - 2], lastButOne);
  const auto right = foldedLines(row[columns - 1], last);
  const std::size_t lines = std::max({left.size(), right.size(), std::size_t{1}});
  for (std::size_t line = 0; line < lines; ++line) {
    auto cells = line == 0 ? row : std::vector<std::string>(columns);
    cells[columns - 2] = line < left.size() ? left[line] : "";
    cells[columns - 1] = line < right.size() ? right[line] : "";
    folded.push_back(std::move(cells));
  }
}

}  // namespace

void printTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], utf16Length(row[column]));
    }
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 == row.size()) break;
      line.append(widths[column] - utf16Length(row[column]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
  }
  std::cout.flush();
}

void printFoldedTable(const std::vector<std::vector<std::string>>& rows) {
  const std::size_t width = outputWidth();
  if (width == 0) return printTable(rows);
  const std::size_t columns = rows.front().size();
  std::size_t taken = 0;
  for (std::size_t column = 0; column + 2 < columns; ++column) {
    taken += widthOfColumn(rows, column) + kGapColumns;
  }
  const std::size_t left = width > taken + kGapColumns ? width - taken - kGapColumns : 0;
  const std::size_t first =
      std::max(kMinFoldedColumns, std::min(left / 3, widthOfColumn(rows, columns - 2)));
  const std::size_t second = std::max(kMinFoldedColumns, left > first ? left - first : 0);
  std::vector<std::vector<std::string>> folded;
  for (const auto& row : rows) addFoldedRow(row, first, second, folded);
  printTable(folded);
}

std::string shownTime(const std::optional<double>& secondsSince1970) {
  constexpr double kYear9999 = 253402300799.0;
  if (!secondsSince1970 || !(std::abs(*secondsSince1970) <= kYear9999)) return "-";
  const auto seconds = static_cast<std::time_t>(*secondsSince1970);
  std::tm utc{};
  ::gmtime_r(&seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d UTC", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
  return text;
}

void printJson(const ZORValue& value) { std::cout << jsonForDisplay(value) << std::endl; }

std::string shown(const ZORValue& value) {
  if (value.isNull()) return "-";
  return withoutControlCharacters(value.isText() ? *value.text() : jsonForDisplay(value));
}

void printDiagnostic(const std::string& message) {
  std::cerr << "zorfp: " << withoutControlCharacters(message) << std::endl;
}

std::string shownDuration(std::chrono::duration<double, std::milli> duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f ms", duration.count());
  return text;
}

StandardOutputToError::StandardOutputToError()
    : _standardOutput(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  if (_standardOutput < 0) return;
  std::cout.flush();
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

StandardOutputToError::~StandardOutputToError() {
  if (_standardOutput < 0) return;
  std::fflush(stdout);  // The line is written through the C library.
  ::dup2(_standardOutput, STDOUT_FILENO);
  ::close(_standardOutput);
}

Progress::Progress(std::string activity)
    : _activity(std::move(activity)), _onTerminal(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (_onTerminal) std::cerr << "\r\033[K" << std::flush;
}

void Progress::update() {
  if (!_onTerminal) return;
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - _start;
  std::cerr << '\r' << _activity << "... " << static_cast<int>(waited.count()) << " s"
            << std::flush;
}

}  // namespace zor::cli
