// Binary formats: the kernel's messages, and the notes in an executable. Damaged input must give no
// value, and nothing beyond its bytes may be read.
#include "fuzz/fuzz_input.h"
#include "platform/linux/bluetooth_management.h"
#include "platform/linux/bundle_info.h"
#include "platform/linux/link_address.h"
#include "platform/linux/netlink.h"
#include "platform/linux/wireless_messages.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

void readPayload(Bytes payload) {
  wirelessInterfaceFromMessage(payload);
  stationSignalFromMessage(payload);
  familyNumberFromMessage(payload);
  permanentAddressFromLink(payload);
  const auto association = associationFromMessage(payload);
  if (!association || !association->ssid) return;
  const auto name = networkName(*association->ssid);
  require(!name || isValidUtf8(*name));
}

}  // namespace
}  // namespace zor::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const zor::Bytes message(bytes, size);
  zor::fuzz::readPayload(message);
  std::vector<zor::Data> payloads;
  int error = 0;
  zor::takeNetlinkPayloads(message, payloads, error);
  for (const zor::Data& payload : payloads) zor::fuzz::readPayload(payload);

  const auto controller = zor::controllerInfoFromMessage(message, 0);
  if (controller && controller->name) zor::fuzz::require(zor::isValidUtf8(*controller->name));

  const std::string notes = zor::fuzz::textOfInput(bytes, size);
  for (const std::size_t alignment : {std::size_t{4}, std::size_t{8}}) {
    const auto bundle = zor::bundleInfoFromNotes(notes, alignment);
    if (bundle) zor::fuzz::require(bundle->info.isDictionary());
  }
  return 0;
}
