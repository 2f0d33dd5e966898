#include "platform/linux/machine_uuid.h"

#include <nettle/hmac.h>

#include "literals/literals.h"
#include "platform/linux/decoded_text.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/uuid_text.h"
#include "support/ascii.h"

namespace zor {
namespace {

std::string_view withoutLineEnd(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

std::optional<MachineId> machineIdFromFile(const std::string& path) {
  const auto content = readSmallFile(path);
  return content ? machineIdFromText(*content) : std::nullopt;
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

std::optional<std::string> firmwareFileText(const std::string& path) {
  const auto content = readSmallFile(path);
  if (!content) return std::nullopt;
  const std::string text = decodedText(trimmed(content->substr(0, content->find('\0'))));
  if (text.find_first_not_of('0') == std::string::npos) return std::nullopt;
  return text;
}

std::string machineUuid(std::string_view key) {
  const std::string message = literals::kMachineIdMessage.str();
  hmac_sha256_ctx context;
  hmac_sha256_set_key(&context, key.size(), reinterpret_cast<const std::uint8_t*>(key.data()));
  hmac_sha256_update(&context, message.size(),
                     reinterpret_cast<const std::uint8_t*>(message.data()));
  std::array<std::uint8_t, 16> bytes{};
  hmac_sha256_digest(&context, bytes.size(), bytes.data());
  return uuidText(bytes);
}

std::optional<std::string> hardwareUuid() {
  for (const std::string& path :
       {literals::kMachineIdPath.str(), literals::kBusMachineIdPath.str()}) {
    const auto id = machineIdFromFile(path);
    if (id) return machineUuid({reinterpret_cast<const char*>(id->data()), id->size()});
  }
  const auto serial = firmwareFileText(literals::kDeviceTreeSerialPath.str());
  return serial ? std::optional(machineUuid(*serial)) : std::nullopt;
}

}  // namespace zor
