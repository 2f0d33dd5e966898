// The sealed identity block: the only form in which hardware identities leave the machine.
#ifndef ZOR_COLLECTOR_SEALED_BLOCK_H_
#define ZOR_COLLECTOR_SEALED_BLOCK_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <map>
#include <optional>
#include <string>

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

// The seven entries of the block. The addresses of the designated interfaces stand apart, null
// where there is none, and all others in a dictionary of their own.
ZORValue identityBlock(const HardwareIdentity& identity, const DesignatedInterfaces& designated);

// `json` under AES-128-CBC with its zero fill, as base64. nullopt: no text, or an empty one.
std::optional<std::string> sealText(const std::optional<std::string>& json, const AesKey& key);

// `block` sealed with the key of this process; nullopt when JSON cannot hold it.
std::optional<std::string> sealBlock(const ZORValue& block);

// What sealBlock() was given, in this process or another of the same host; nullopt when `text` is
// no such block or the key does not fit.
std::optional<ZORValue> openSealedBlock(const std::string& text);

}  // namespace zor

#endif  // ZOR_COLLECTOR_SEALED_BLOCK_H_
