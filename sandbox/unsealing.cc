#include "sandbox/unsealing.h"

#include <array>
#include <cstdint>
#include <vector>

#include "sandbox/profile_words.h"
#include "sandbox/service_crypto.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kKeyBytes = 16;
constexpr std::uint32_t kMixStart = 0x70;
constexpr const char* kSealFormatVersion = "1.0.0";  // Of the seal, not of the collector.

std::uint32_t hashOfUnits(const std::string& text) {
  std::uint32_t hash = 0;
  for (const std::uint16_t unit : utf16Units(text)) hash = hash * 31U + unit;
  return hash;
}

std::optional<std::string> textEntry(const ZORValue& report, std::string_view key) {
  const std::string* text = report[key].text();
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

bool isIdentity(const ZORValue& value) {
  for (const std::string_view key :
       {words::kSealedFirstInterfaceKey.view(), words::kSealedSecondInterfaceKey.view(),
        words::kSealedThirdInterfaceKey.view(), words::kSealedBluetoothAddressKey.view(),
        words::kSealedOtherInterfacesKey.view(), words::kSealedHardwareUUIDKey.view(),
        words::kSealedSerialNumberKey.view()}) {
    if (value.find(key) == nullptr) return false;
  }
  return true;
}

std::vector<std::optional<std::string>> bundleVersionCandidates(
    const ZORValue& report, const std::map<std::string, std::string>& bundleVersions) {
  std::vector<std::optional<std::string>> candidates;
  const auto known =
      bundleVersions.find(textEntry(report, words::kParamBundleIdentifierKey.view()).value_or(""));
  if (known != bundleVersions.end()) candidates.emplace_back(known->second);
  candidates.emplace_back(std::nullopt);
  if (auto shortVersion = textEntry(report, words::kParamBundleValueKey.view())) {
    candidates.push_back(std::move(shortVersion));
  }
  return candidates;
}

}  // namespace

std::string blockKey(const std::optional<std::string>& bundleVersion,
                     const std::optional<std::string>& bundleIdentifier,
                     const std::string& collectorVersion) {
  const std::string seed =
      formatText(words::kKeyDerivationFormat.view(),
                 {bundleVersion, bundleIdentifier, collectorVersion, kSealFormatVersion});
  // Deliberate: as many bytes as the text has UTF-16 units, which drops the end of a text that is
  // not plain ASCII.
  const auto count = static_cast<std::uint32_t>(utf16Length(seed));
  std::array<std::uint8_t, kKeyBytes> key{};
  const auto byteAt = [&seed](std::uint32_t index) {
    return static_cast<std::uint8_t>(seed[index]);
  };

  std::uint32_t rolling = 1;
  std::uint32_t wide = 0;
  for (std::uint32_t index = 0; index < count; ++index) {
    wide = rolling * 31 + byteAt(index);
    rolling = wide % 256;
    key[index % kKeyBytes] = byteAt(index);
  }

  const std::uint32_t added = hashOfUnits(bundleVersion.value_or("")) + 2 * count + rolling;
  std::uint32_t stepped = 6 * count;
  std::uint32_t mixed = kMixStart;
  for (std::uint32_t index = 0; index < count; ++index) {
    std::uint8_t& place = key[index % kKeyBytes];
    const std::uint32_t halves = ((place >> 4U) ^ wide) | ((place & 15U) ^ wide);
    place = static_cast<std::uint8_t>(halves ^ (mixed ^ wide));
    mixed = ((added + index) ^ ((stepped ^ index) % 256)) ^ mixed ^ byteAt(index);
    stepped += 3;
  }
  return {key.begin(), key.end()};
}

std::optional<UnsealedIdentity> unsealIdentity(
    const ZORValue& report, const std::map<std::string, std::string>& bundleVersions) {
  const auto sealed =
      decodeBase64(textEntry(report, words::kParamSealedBlockKey.view()).value_or(""));
  if (!sealed) return std::nullopt;
  const auto identifier = textEntry(report, words::kParamBundleIdentifierKey.view());
  const auto version = textEntry(report, words::kParamVersionKey.view()).value_or("");
  for (const auto& bundleVersion : bundleVersionCandidates(report, bundleVersions)) {
    const auto clear = openZeroFilled(blockKey(bundleVersion, identifier, version),
                                      words::kSealVector.view(), *sealed);
    if (!clear) continue;
    const auto identity = valueFromJson(*clear);
    if (identity && isIdentity(*identity)) return UnsealedIdentity{*identity, bundleVersion};
  }
  return std::nullopt;
}

}  // namespace zor::sandbox
