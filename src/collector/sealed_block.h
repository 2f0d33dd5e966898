// The sealed identity block: the only form in which hardware identities leave the machine.
#ifndef ZOR_COLLECTOR_SEALED_BLOCK_H_
#define ZOR_COLLECTOR_SEALED_BLOCK_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/crypto_port.h"
#include "platform/network_port.h"

namespace zor {

// The values that are sealed.
struct HardwareIdentity {
  std::map<std::string, std::string> hardwareAddresses;  // By interface.
  std::optional<std::string> bluetoothAddress;
  std::optional<std::string> hardwareUUID;
  std::optional<std::string> serialNumber;
};

// The seven entries of the block. The addresses of the designated interfaces have entries of their
// own, null if there is none; all others are in one dictionary.
ZORValue identityBlock(const HardwareIdentity& identity, const DesignatedInterfaces& designated);

// `block` with null in place of each entry that the host withholds.
ZORValue withoutWithheldEntries(ZORValue block);

// Whether at least one of the four entries made from the hardware addresses is not withheld.
bool areHardwareAddressesWanted();

// The steps of the block's key derivation, as functions of plain values.
//
// A hash of the UTF-16 code units of `text`, each weighing 31 times the one after it, in 32 bits.
std::uint32_t blockTextHash(std::string_view text);

// The text from which the key is derived; absent values appear as "(null)".
std::string blockKeyMaterial(const std::optional<std::string>& hostInfo,
                             const std::optional<std::string>& bundleIdentifier);

// The key for that material and the hash of the host's info value. Deliberate: only as many UTF-8
// bytes of `material` count as it has UTF-16 units. Empty material gives a key of zeros.
AesKey blockKey(std::string_view material, std::uint32_t hostInfoHash);

// The key of this process, from the main bundle. A host without a bundle has one too.
AesKey hostBlockKey();

// `json` under AES-128-CBC with its zero fill, as base64. nullopt: no text, or an empty text.
std::optional<std::string> sealText(const std::optional<std::string>& json, const AesKey& key);

// `block` sealed with the key of this process; nullopt when JSON cannot hold it.
std::optional<std::string> sealBlock(const ZORValue& block);

// What sealBlock() was given, in this process or another of the same host; nullopt if `text` is not
// such a block or the key does not match.
std::optional<ZORValue> openSealedBlock(const std::string& text);

}  // namespace zor

#endif  // ZOR_COLLECTOR_SEALED_BLOCK_H_
