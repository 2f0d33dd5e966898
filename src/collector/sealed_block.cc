#include "collector/sealed_block.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "collector/report_entries.h"
#include "crypto/text_cipher.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "support/json_codec.h"
#include "support/text.h"
#include "support/wiped.h"

namespace zor {
namespace {

constexpr const char* kBlockFormatVersion = "1.0.0";

// The info value as text; any other value as its compact JSON.
std::optional<std::string> hostInfoText() {
  const auto value = ports().bundle.infoValue(literals::kBundleVersionKey.str());
  if (!value) return std::nullopt;
  return value->isText() ? *value->text() : jsonFromValue(*value);
}

// What the first pass over the material leaves behind.
struct Rolled {
  std::uint32_t low = 1;   // The last value in one byte.
  std::uint32_t wide = 0;  // The last value before it was cut to one byte.
};

Rolled fillKey(std::string_view bytes, AesKey& key) {
  Rolled rolled;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    const auto byte = static_cast<std::uint8_t>(bytes[index]);
    rolled.wide = rolled.low * 31 + byte;
    rolled.low = rolled.wide % 256;
    key[index % key.size()] = byte;
  }
  return rolled;
}

void stirKey(std::string_view bytes, std::uint32_t hostInfoHash, const Rolled& rolled,
             AesKey& key) {
  const auto count = static_cast<std::uint32_t>(bytes.size());
  const std::uint32_t base = hostInfoHash + 2 * count + rolled.low;
  std::uint32_t step = 6 * count;
  std::uint32_t mask = 0x70;
  for (std::uint32_t index = 0; index < count; ++index, step += 3) {
    std::uint8_t& place = key[index % key.size()];
    const std::uint32_t halves = ((place >> 4) ^ rolled.wide) | ((place & 15U) ^ rolled.wide);
    place = static_cast<std::uint8_t>(halves ^ mask ^ rolled.wide);
    mask ^= (base + index) ^ ((step ^ index) % 256) ^ static_cast<std::uint8_t>(bytes[index]);
  }
}

static_assert(decltype(literals::kSealVector)::length() == kAesBlockBytes);

std::optional<Data> cipher(CipherOperation operation, const AesKey& key, const Data& input) {
  AesBlock vector = literals::kSealVector.copyToWipe();
  const WipedAtEnd vectorIsWiped(vector);
  return ports().crypto.aes128Cbc(operation, key, vector, input);
}

// The address of a designated interface; null when there is no such interface.
ZORValue addressOf(const std::map<std::string, std::string>& addresses,
                   const std::optional<std::string>& interface) {
  const auto found = interface ? addresses.find(*interface) : addresses.end();
  return found == addresses.end() ? ZORValue() : ZORValue(found->second);
}

}  // namespace

std::uint32_t blockTextHash(std::string_view text) {
  std::uint32_t hash = 0;
  for (const std::uint16_t unit : utf16Units(text)) hash = hash * 31 + unit;
  return hash;
}

std::string blockKeyMaterial(const std::optional<std::string>& hostInfo,
                             const std::optional<std::string>& bundleIdentifier) {
  return formatText(literals::kKeyDerivationFormat.view(),
                    {hostInfo, bundleIdentifier, versionLabel(), kBlockFormatVersion});
}

AesKey blockKey(std::string_view material, std::uint32_t hostInfoHash) {
  // Deliberate: the units are counted and then as many bytes are taken.
  const std::string_view bytes = material.substr(0, utf16Length(material));
  AesKey key{};
  const Rolled rolled = fillKey(bytes, key);
  stirKey(bytes, hostInfoHash, rolled, key);
  return key;
}

AesKey hostBlockKey() {
  const auto hostInfo = hostInfoText();
  return blockKey(blockKeyMaterial(hostInfo, ports().bundle.bundleIdentifier()),
                  blockTextHash(hostInfo.value_or("")));
}

ZORValue identityBlock(const HardwareIdentity& identity, const DesignatedInterfaces& designated) {
  auto others = identity.hardwareAddresses;
  ZORValue block = ZORValue::dictionary();
  block.set(literals::kSealedFirstInterfaceKey.view(), addressOf(others, designated.first));
  block.set(literals::kSealedSecondInterfaceKey.view(), addressOf(others, designated.second));
  block.set(literals::kSealedThirdInterfaceKey.view(), addressOf(others, designated.third));
  block.set(literals::kSealedBluetoothAddressKey.view(),
            ZORValue::orNull(identity.bluetoothAddress));
  for (const auto& interface : {designated.first, designated.second, designated.third}) {
    if (interface) others.erase(*interface);
  }
  block.set(literals::kSealedOtherInterfacesKey.view(), others);
  block.set(literals::kSealedHardwareUUIDKey.view(), ZORValue::orNull(identity.hardwareUUID));
  block.set(literals::kSealedSerialNumberKey.view(), ZORValue::orNull(identity.serialNumber));
  return writableAsJson(std::move(block));
}

ZORValue withoutWithheldEntries(ZORValue block) {
  for (const Entry entry : allEntries()) {
    if (isSealed(entry) && isWithheld(entry)) block.set(entryKey(entry), nullptr);
  }
  return block;
}

bool areHardwareAddressesWanted() {
  return !(isWithheld(Entry::firstInterface) && isWithheld(Entry::secondInterface) &&
           isWithheld(Entry::thirdInterface) && isWithheld(Entry::otherInterfaces));
}

std::optional<std::string> sealText(const std::optional<std::string>& json, const AesKey& key) {
  if (!json || json->empty()) return std::nullopt;
  Data clear = zeroPadded(utf8Bytes(*json));
  const WipedAtEnd clearIsWiped(clear);
  const auto sealed = cipher(CipherOperation::encrypt, key, clear);
  if (!sealed) return std::nullopt;
  return ports().crypto.base64Encode(*sealed);
}

std::optional<std::string> sealBlock(const ZORValue& block) {
  auto json = jsonFromValue(block);
  if (!json) return std::nullopt;
  const WipedAtEnd jsonIsWiped(*json);
  AesKey key = hostBlockKey();
  const WipedAtEnd keyIsWiped(key);
  return sealText(json, key);
}

std::optional<ZORValue> openSealedBlock(const std::string& text) {
  const auto sealed = ports().crypto.base64Decode(text);
  if (!sealed || sealed->empty()) return std::nullopt;
  AesKey key = hostBlockKey();
  const WipedAtEnd keyIsWiped(key);
  auto clear = cipher(CipherOperation::decrypt, key, *sealed);
  if (!clear) return std::nullopt;
  const auto json = textFromUtf8(withoutTrailingZeros(std::move(*clear)));
  auto block = json ? valueFromJson(*json) : std::nullopt;
  return block && block->isDictionary() ? std::move(block) : std::nullopt;
}

}  // namespace zor
