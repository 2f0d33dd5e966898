// The key of the sealed identity block, derived from who the host is. Functions of plain values.
#ifndef ZOR_COLLECTOR_BLOCK_KEY_H_
#define ZOR_COLLECTOR_BLOCK_KEY_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/crypto_port.h"

namespace zor {

// A hash of the UTF-16 code units of `text`, each weighing 31 times the one after it, in 32 bits.
std::uint32_t blockTextHash(std::string_view text);

// The text that the key is made of; absent values show as "(null)".
std::string blockKeyMaterial(const std::optional<std::string>& hostInfo,
                             const std::optional<std::string>& bundleIdentifier);

// The key for that material and the hash of the host's info value. Deliberate: of the UTF-8 bytes
// of `material` only as many count as it has UTF-16 units. Empty material gives a key of zeros.
AesKey blockKey(std::string_view material, std::uint32_t hostInfoHash);

// The key of this process, from the main bundle. A host without a bundle has one too.
AesKey hostBlockKey();

}  // namespace zor

#endif  // ZOR_COLLECTOR_BLOCK_KEY_H_
