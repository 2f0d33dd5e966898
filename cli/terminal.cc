#include "cli/terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
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
