#include "platform/linux/library_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "literals/labels.h"
#include "literals/literals.h"
#include "support/ascii.h"

namespace zor {
namespace {

std::optional<std::string> absoluteVariable(const char* name) {
  const char* value = ::secure_getenv(name);  // A privileged host must not trust its caller.
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char character : text) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211U;
  }
  return hash;
}

bool isPlainInFileName(char character, bool first) {
  return isLetter(character) || isDigit(character) || character == '-' || character == '_' ||
         (character == '.' && !first);
}

}  // namespace

std::string safeFileName(std::string_view name) {
  constexpr std::size_t kMaxNameBytes = 200;  // Leaves room for suffixes within the usual 255.
  if (name.empty()) return "%";
  std::string encoded;
  for (const char character : name) {
    if (isPlainInFileName(character, encoded.empty())) {
      encoded += character;
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(character));
      encoded += escaped;
    }
  }
  if (encoded.size() <= kMaxNameBytes) return encoded;
  char hash[18];
  std::snprintf(hash, sizeof hash, "%%%016llX", static_cast<unsigned long long>(fnv1a(name)));
  return encoded.substr(0, kMaxNameBytes - 17) + hash;
}

std::optional<std::string> homeFolder() {
  if (auto home = absoluteVariable(literals::kHomeVariable.c_str())) return home;
  std::vector<char> buffer(16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  const int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  if (error != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
    return std::nullopt;
  }
  return found->pw_dir;
}

std::optional<std::string> folderOfLibrary(const char* variable, const char* underHome) {
  auto base = absoluteVariable(variable);
  if (!base) {
    base = homeFolder();
    if (!base) return std::nullopt;
    *base += std::string("/") + underHome;
  }
  return *base + "/" + nameInProfile("zorfingerprint");
}

}  // namespace zor
