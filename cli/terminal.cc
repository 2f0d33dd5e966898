#include "cli/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

#include "support/text.h"

namespace zor::cli {
namespace {

// Names from devices and services reach the terminal: nothing in them may steer it.
std::string withoutControlCharacters(const std::string& text) {
  std::string safe;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte != 0x7F) {
      safe += character;
      continue;
    }
    char escape[5];
    std::snprintf(escape, sizeof escape, "\\x%02x", byte);
    safe += escape;
  }
  return safe;
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
    std::cout << line << '\n';
  }
  std::cout.flush();
}

void printJson(const Json& value) {
  std::cout << value.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

std::string shown(const Json& value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return withoutControlCharacters(value.get<std::string>());
  return withoutControlCharacters(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void printDiagnostic(const std::string& message) {
  std::cerr << "zorfp: " << withoutControlCharacters(message) << std::endl;
}

std::string shownDuration(std::chrono::duration<double, std::milli> duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f ms", duration.count());
  return text;
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
