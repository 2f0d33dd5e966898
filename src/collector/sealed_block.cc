#include "collector/sealed_block.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "collector/block_key.h"
#include "collector/report_values.h"
#include "crypto/zero_padding.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

static_assert(decltype(literals::kSealVector)::length() == kAesBlockBytes);

AesBlock sealVector() {
  AesBlock vector{};
  const std::string_view text = literals::kSealVector.view();
  std::copy(text.begin(), text.end(), vector.begin());
  return vector;
}

std::optional<Data> cipher(CipherOperation operation, const AesKey& key, const Data& input) {
  return ports().crypto.aes128Cbc(operation, key, sealVector(), input);
}

// The address of a designated interface; null when there is no such interface.
ZORValue addressOf(const std::map<std::string, std::string>& addresses,
                   const std::optional<std::string>& interface) {
  const auto found = interface ? addresses.find(*interface) : addresses.end();
  return found == addresses.end() ? ZORValue() : ZORValue(found->second);
}

}  // namespace

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
  return reportable(std::move(block));
}

std::optional<std::string> sealText(const std::optional<std::string>& json, const AesKey& key) {
  if (!json || json->empty()) return std::nullopt;
  const auto sealed = cipher(CipherOperation::encrypt, key, zeroPadded(utf8Bytes(*json)));
  if (!sealed) return std::nullopt;
  return ports().crypto.base64Encode(*sealed);
}

std::optional<std::string> sealBlock(const ZORValue& block) {
  return sealText(jsonFromValue(block), hostBlockKey());
}

std::optional<ZORValue> openSealedBlock(const std::string& text) {
  const auto sealed = ports().crypto.base64Decode(text);
  if (!sealed || sealed->empty()) return std::nullopt;
  auto clear = cipher(CipherOperation::decrypt, hostBlockKey(), *sealed);
  if (!clear) return std::nullopt;
  const auto json = textFromUtf8(withoutTrailingZeros(std::move(*clear)));
  auto block = json ? valueFromJson(*json) : std::nullopt;
  return block && block->isDictionary() ? std::move(block) : std::nullopt;
}

}  // namespace zor
