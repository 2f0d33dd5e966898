#include "probes/probe_values.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "literals/literals.h"
#include "support/text.h"

namespace zor {
namespace {

ZORValue valueOr(const ZORValue& value, const ZORValue& absent) {
  return value.isNull() ? absent : value;
}

std::int32_t narrowNumber(const std::optional<std::int64_t>& number) {
  return static_cast<std::int32_t>(number.value_or(0));
}

template <typename Number>
Number numberFromBytes(const Data& value) {
  Number number;
  std::memcpy(&number, value.data(), sizeof number);
  return number;
}

// Converts as the processor does; the language leaves the result for a negative number undefined.
std::uint64_t wholeNumber(double number) {
  return number < 0 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(number))
                    : static_cast<std::uint64_t>(number);
}

// The bytes after the port in a socket address. In an IPv4 one the address begins there; in an IPv6
// one it is the flow label, so the text covers the label and the first 12 bytes of the address.
// Required: the services know IPv6 addresses in this form.
constexpr std::size_t kAddressOffset = 4;

std::size_t addressSize(AddressFamily family) { return family == AddressFamily::ipv4 ? 4 : 16; }

std::optional<std::string> socketAddressText(const InterfaceAddress& address,
                                             NetworkPort& network) {
  if (address.family == AddressFamily::other) return std::nullopt;
  const std::size_t size = addressSize(address.family);
  if (address.socketAddress.size() < kAddressOffset + size) return std::nullopt;
  return network.addressText(address.family, address.socketAddress.data() + kAddressOffset, size);
}

std::string hexByte(std::uint8_t byte) {
  char digits[3];
  std::snprintf(digits, sizeof digits, literals::kHexByteFormat.c_str(), unsigned{byte});
  return digits;
}

}  // namespace

ZORValue usbDeviceRecord(const USBDevice& device) {
  return ZORValue::dictionary(
      {{literals::kUSBProductNameKey.str(), valueOr(device.productName, "")},
       {literals::kUSBVendorIdKey.str(), valueOr(device.vendorId, 0)},
       {literals::kUSBProductIdKey.str(), valueOr(device.productId, 0)},
       {literals::kUSBSerialNumberKey.str(), valueOr(device.serialNumber, "")}});
}

ZORValue powerSourceRecord(const PowerSource& source) {
  return ZORValue::dictionary(
      {{literals::kPowerRecordChargeKey.str(), narrowNumber(source.charge)},
       {literals::kPowerRecordFullChargeKey.str(), narrowNumber(source.fullCharge)},
       {literals::kPowerRecordStateKey.str(), valueOr(source.state, "")},
       {literals::kPowerRecordNameKey.str(), valueOr(source.name, "")}});
}

std::uint64_t storageBytes(const std::optional<FileSystemFigures>& figures) {
  if (!figures) return std::numeric_limits<std::uint64_t>::max();
  return std::uint64_t{figures->blockSizeBytes} *
         (figures->blocks - figures->freeBlocks + figures->availableBlocks);
}

std::uint64_t cpuCount(const Data& value) {
  if (value.size() == sizeof(std::uint32_t)) return numberFromBytes<std::uint32_t>(value);
  if (value.size() != sizeof(std::int64_t)) return 0;
  return wholeNumber(static_cast<double>(numberFromBytes<std::int64_t>(value)));
}

std::optional<std::string> namedValueText(const Data& value) {
  return textFromUtf8(Data(value.begin(), std::find(value.begin(), value.end(), 0)));
}

std::string bytesToHexString(const Data& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += formatText(
        text.empty() ? literals::kFirstByteFormat.view() : literals::kFollowingByteFormat.view(),
        {hexByte(byte)});
  }
  return text;
}

std::vector<std::string> addressTexts(const std::vector<InterfaceAddress>& addresses,
                                      const std::vector<std::string>& interfaceNames,
                                      NetworkPort& network) {
  std::vector<std::string> texts;
  for (const InterfaceAddress& address : addresses) {
    const bool wanted = std::find(interfaceNames.begin(), interfaceNames.end(),
                                  address.interfaceName) != interfaceNames.end();
    if (!wanted || !address.running) continue;
    if (auto text = socketAddressText(address, network)) texts.push_back(std::move(*text));
  }
  return texts;
}

}  // namespace zor
