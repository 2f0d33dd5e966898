#include "platform/linux/bundle_info.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "literals/literals.h"
#include "platform/linux/text_lines.h"
#include "support/ascii.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr const char* kIdentifierKey = "CFBundleIdentifier";
// Both as cmake/ZorEmbedBundleInfo.cmake writes them; a note's name counts its NUL.
constexpr char kNoteName[] = "ZORBundle";
constexpr std::uint32_t kNoteType = 1;

// Takes `size` bytes and the padding to `alignment`, which the last note may lack, off the front of
// `bytes`. nullopt: there are fewer bytes.
std::optional<std::string_view> take(std::string_view& bytes, std::size_t size,
                                     std::size_t alignment) {
  if (size > bytes.size()) return std::nullopt;
  const std::string_view taken = bytes.substr(0, size);
  const std::size_t padding = (alignment - size % alignment) % alignment;
  bytes.remove_prefix(size + std::min(padding, bytes.size() - size));
  return taken;
}

std::optional<std::uint32_t> takeNumber(std::string_view& bytes) {
  const auto taken = take(bytes, sizeof(std::uint32_t), 1);
  if (!taken) return std::nullopt;
  std::uint32_t number = 0;
  std::memcpy(&number, taken->data(), sizeof number);
  return number;
}

bool isIdentifier(std::string_view text) { return !text.empty() && isValidUtf8(text); }

std::optional<BundleInfo> bundleInfoFromAlignedNotes(std::string_view notes,
                                                     std::size_t alignment) {
  while (!notes.empty()) {
    const auto nameSize = takeNumber(notes);
    const auto contentSize = takeNumber(notes);
    const auto type = takeNumber(notes);
    if (!nameSize || !contentSize || !type) return std::nullopt;
    // The name follows three numbers, so its padding counts from there.
    const std::size_t paddedFrom = 3 * sizeof(std::uint32_t) % alignment;
    const auto name = take(notes, *nameSize, 1);
    if (!name) return std::nullopt;
    const std::size_t misaligned = (paddedFrom + *nameSize) % alignment;
    if (misaligned != 0 && !take(notes, alignment - misaligned, 1)) return std::nullopt;
    const auto content = take(notes, *contentSize, alignment);
    if (!content) return std::nullopt;
    if (*type == kNoteType && *name == std::string_view(kNoteName, sizeof kNoteName))
      return bundleInfoFromJson(*content);
  }
  return std::nullopt;
}

}  // namespace

std::optional<BundleInfo> bundleInfoFromJson(std::string_view text) {
  auto info = valueFromJson(text);
  if (!info || !info->isDictionary()) return std::nullopt;
  BundleInfo bundle;
  const std::string* identifier = (*info)[kIdentifierKey].text();
  if (identifier != nullptr && !identifier->empty()) bundle.identifier = *identifier;
  bundle.info = std::move(*info);
  return bundle;
}

std::optional<BundleInfo> bundleInfoFromNotes(std::string_view notes, std::size_t alignment) {
  auto bundle = alignment == 8 ? bundleInfoFromAlignedNotes(notes, 8) : std::nullopt;
  // An alignment of 0 or 1 means 4. Some linkers put all notes into one segment, which then has the
  // largest alignment of all.
  return bundle ? bundle : bundleInfoFromAlignedNotes(notes, 4);
}

std::optional<BundleInfo> bundleInfoFromSnap(const char* name, const char* version,
                                             const char* folder, std::string_view executable) {
  if (name == nullptr || version == nullptr || folder == nullptr) return std::nullopt;
  const std::string inside = std::string(folder) + "/";
  if (!isIdentifier(name) || !isValidUtf8(version) || inside.size() < 2 ||
      executable.substr(0, inside.size()) != inside) {
    return std::nullopt;
  }
  BundleInfo bundle;
  bundle.identifier = name;
  bundle.info.set(literals::kBundleShortVersionKey.view(), version);
  bundle.info.set(literals::kBundleVersionKey.view(), version);
  return bundle;
}

std::optional<BundleInfo> bundleInfoFromFlatpak(std::string_view keyFile) {
  constexpr std::string_view kNameKey = "name=";
  bool inApplication = false;
  for (std::string_view line : lines(keyFile)) {
    line = trimmed(line);
    if (!line.empty() && line.front() == '[') inApplication = line == "[Application]";
    if (!inApplication || line.substr(0, kNameKey.size()) != kNameKey) continue;
    const std::string_view name = line.substr(kNameKey.size());
    if (!isIdentifier(name)) return std::nullopt;
    BundleInfo bundle;
    bundle.identifier = std::string(name);
    return bundle;
  }
  return std::nullopt;
}

}  // namespace zor
