// Untrusted texts: numbers, encodings, encrypted entries, and the files in which a system describes
// itself. Results are checked against the C library or by converting back and forth.
#include <cmath>

#include "crypto/request_signature.h"
#include "crypto/text_cipher.h"
#include "fuzz/fuzz_input.h"
#include "platform/linux/bundle_info.h"
#include "platform/linux/decoded_text.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/link_address.h"
#include "platform/linux/machine_uuid.h"
#include "platform/linux/network_texts.h"
#include "platform/linux/power_source_values.h"
#include "platform/linux/system_texts.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

void readsNumbersAsTheCLibrary(const std::string& text) {
  const double number = doubleValue(text);
  require(!std::isnan(number));
  if (std::isfinite(number)) require(doubleValue(shortestDecimal(number)) == number);
  if (text.find_first_not_of(" 0123456789+-.eE") != std::string::npos) return;
  require(number == std::strtod(text.c_str(), nullptr));
  require(longLongValue(text) == std::strtoll(text.c_str(), nullptr, 10));
}

void goesThereAndBack(const std::string& text) {
  const std::string mended = wellFormedUtf8(text);
  require(isValidUtf8(mended));
  require((mended == text) == isValidUtf8(text));
  require(utf16Length(mended) == utf16Units(mended).size());

  const Data bytes(text.begin(), text.end());
  require(hexData2Data(data2HexData(bytes).value()) == bytes);
  hexData2Data(bytes);

  dfp_decrypt_text(text);
  const auto sealed = dfp_encrypt_text(text);
  require(sealed.has_value() == (isValidUtf8(text) && !text.empty()));
  if (sealed) require(dfp_decrypt_text(sealed) == text.substr(0, text.find_last_not_of('\0') + 1));
}

void describesASystem(const std::string& text) {
  bundleInfoFromJson(text);
  bundleInfoFromFlatpak(text);
  bundleInfoFromSnap(text.c_str(), "1", "/snap", "/snap/bin");
  systemNameFromRelease(text);
  processorModelFromList(text);
  defaultRouteInterface(text, text);
  for (const std::string& server : serversInConfiguration(text)) require(server != "0.0.0.0");
  require(memoryOfBlocks(text, text.size()) >= 0);
  machineIdFromText(text);
  require(isValidUtf8(decodedText(text)));
  require(!isValidUtf8(text) || withoutCutCharacter(text) == text);
}

// Attributes that the kernel shows of a device: drivers and firmware write them.
void describesADevice(const std::string& text) {
  const auto address = addressFromText(text);
  if (address) require(text.size() + 1 == address->size() * 3);
  const auto variable = [&text](const std::string& name) {
    const std::string value = eventVariable(text, name);
    return value.empty() ? std::nullopt : std::optional(value);
  };
  if (isMachinePowerSource(variable)) powerSourceFromSupply("BAT0", variable);
  const auto same = [&text](const std::string& /*name*/) { return std::optional(text); };
  const auto source = powerSourceFromSupply("BAT0", same);
  require(source && source->charge == longLongValue(text));
  const std::string name = safeFileName(text);
  require(!name.empty() && name.size() <= 255 && name.find('/') == std::string::npos);
}

}  // namespace
}  // namespace zor::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text = zor::fuzz::textOfInput(bytes, size);
  zor::fuzz::readsNumbersAsTheCLibrary(text);
  zor::fuzz::goesThereAndBack(text);
  zor::fuzz::describesASystem(text);
  zor::fuzz::describesADevice(text);
  return 0;
}
