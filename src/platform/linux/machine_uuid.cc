#include "platform/linux/machine_uuid.h"

#include <nettle/hmac.h>

#include <algorithm>

#include "literals/literals.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/uuid_text.h"
#include "support/ascii.h"

namespace zor {
namespace {

std::string_view withoutLineEnd(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

bool isDashPlace(std::size_t place) {
  return place == 8 || place == 13 || place == 18 || place == 23;
}

bool isUuid(std::string_view text) {
  constexpr std::size_t kUuidCharacters = 36;
  if (text.size() != kUuidCharacters) return false;
  for (std::size_t place = 0; place < text.size(); ++place) {
    if (isDashPlace(place) ? text[place] != '-' : !isHexDigit(text[place])) return false;
  }
  return true;
}

char upperCaseDigit(char digit) {
  return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
}

}  // namespace

std::optional<MachineId> machineIdFromText(std::string_view content) {
  const std::string_view text = withoutLineEnd(content);
  MachineId id;
  if (text.size() != 2 * id.size()) return std::nullopt;
  for (std::size_t index = 0; index < id.size(); ++index) {
    const auto high = hexDigitValue(text[2 * index]);
    const auto low = hexDigitValue(text[2 * index + 1]);
    if (!high || !low) return std::nullopt;
    id[index] = static_cast<std::uint8_t>(*high << 4 | *low);
  }
  if (id == MachineId{}) return std::nullopt;
  return id;
}

std::string machineUuid(const MachineId& id) {
  const std::string message = literals::kMachineIdMessage.str();
  hmac_sha256_ctx context;
  hmac_sha256_set_key(&context, id.size(), id.data());
  hmac_sha256_update(&context, message.size(),
                     reinterpret_cast<const std::uint8_t*>(message.data()));
  std::array<std::uint8_t, 16> bytes{};
  hmac_sha256_digest(&context, bytes.size(), bytes.data());
  return uuidText(bytes);
}

std::optional<std::string> firmwareUuid(std::string_view content) {
  const std::string_view text = withoutLineEnd(content);
  if (!isUuid(text)) return std::nullopt;
  std::string upperCase(text);
  std::transform(upperCase.begin(), upperCase.end(), upperCase.begin(), upperCaseDigit);
  const bool filler = upperCase.find_first_not_of("0-") == std::string::npos ||
                      upperCase.find_first_not_of("F-") == std::string::npos;
  if (filler) return std::nullopt;
  return upperCase;
}

std::optional<std::string> hardwareUuid() {
  const auto machineIdFile = readSmallFile(literals::kMachineIdPath.str());
  const auto id = machineIdFile ? machineIdFromText(*machineIdFile) : std::nullopt;
  if (id) return machineUuid(*id);
  const auto firmware = readSmallFile(literals::kFirmwareUUIDPath.str());
  return firmware ? firmwareUuid(*firmware) : std::nullopt;
}

}  // namespace zor
