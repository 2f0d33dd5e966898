#include <ZORFingerPrint/ZORProbes.h>
#include <gtest/gtest.h>

#include "literals/literals.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

TEST(RegistryProbes, KeepTheKindsOfAPropertyApart) {
  FakeMachine machine;
  auto& service = machine.registry.add("class");
  service.properties["text"] = std::string("plain");
  service.properties["data"] = Data{'A', 'B', 'C', 0};
  service.properties["noText"] = Data{'A', 0xFF};
  service.properties["number"] = std::int64_t{7};
  service.properties["other"] = RegistryOther{};
  machine.registry.add("class").properties["second"] = std::string("unseen");

  EXPECT_EQ(getPropertyInservice("text", "class"), "plain");
  EXPECT_EQ(getPropertyInservice("data", "class"), std::string("ABC\0", 4));
  for (const char* key : {"noText", "number", "other", "absent", "second"}) {
    EXPECT_EQ(getPropertyInservice(key, "class"), std::nullopt) << key;
  }
  EXPECT_EQ(getPropertyInservice("text", "absent"), std::nullopt);
  EXPECT_EQ(getPropertyInservice("text", nullptr), std::nullopt);
}

TEST(RegistryProbes, EachReadsItsOwnPropertyOfItsOwnClass) {
  FakeMachine machine;
  auto& firmware = machine.registry.add("dmi");
  firmware.properties = {{"product_serial", std::string("serial")},
                         {"product_name", std::string("product")},
                         {"product_version", std::string("model")},
                         {"board_name", std::string("board")}};
  machine.registry.add("machine").properties["hardware_uuid"] = std::string("uuid");
  machine.registry.add("bluetooth").properties = {{"name", std::string("Zoë")},
                                                  {"address", std::string("00:AA:01:00:00:00")}};
  EXPECT_EQ(getHardwareUDID(), "uuid");
  EXPECT_EQ(getHardwareSerialNumber(), "serial");
  EXPECT_EQ(getProductName(), "product");
  EXPECT_EQ(getModel(), "model");
  EXPECT_EQ(getDeviceName(), "board");
  EXPECT_EQ(getBluetoothDeviceName(), "Zoë");
  EXPECT_EQ(getBluetoothAddress(), "00:AA:01:00:00:00");
}

TEST(RegistryProbes, USBDevicesComeInOrderWithStandInsAndTwiceWhenRegisteredTwice) {
  FakeMachine machine;
  const auto whole = ZORValue::dictionary({{"usbProductName", "Tastatur ä"},
                                           {"usbVendorId", 0x46f4},
                                           {"usbProductId", 1},
                                           {"usbSerialText", "4C53"}});
  for (int registration = 0; registration < 2; ++registration) {
    machine.registry.add("usb_device").properties = {{"product", std::string("Tastatur ä")},
                                                     {"idVendor", std::int64_t{0x46f4}},
                                                     {"idProduct", std::int64_t{1}},
                                                     {"serial", std::string("4C53")}};
  }
  // A value of another kind than expected stays what it is.
  machine.registry.add("usb_device").properties = {{"idVendor", std::string("odd")}};
  const auto sparse = ZORValue::dictionary(
      {{"usbProductName", ""}, {"usbVendorId", "odd"}, {"usbProductId", 0}, {"usbSerialText", ""}});

  EXPECT_EQ(getUSBDevices(), ZORValue::array({whole, whole, sparse}));
}

TEST(RegistryProbes, NoUSBDevicesIsAnEmptyArrayAlsoWhenTheRegistryDoesNotAnswer) {
  FakeMachine machine;
  EXPECT_EQ(getUSBDevices(), ZORValue::array());
  machine.registry.failQueries();
  EXPECT_EQ(getUSBDevices(), ZORValue::array());
}

TEST(PowerProbe, OnlyTheFirstSourceCounts) {
  FakeMachine machine;
  EXPECT_EQ(getPowerInfo(), std::nullopt);

  machine.powerSources.descriptions.emplace_back(
      PowerSourceDescription{{literals::kPowerChargeKey.str(), std::int64_t{73}},
                             {literals::kPowerFullChargeKey.str(), (std::int64_t{1} << 32) + 5},
                             {literals::kPowerNameKey.str(), std::string("BAT0")}});
  machine.powerSources.descriptions.emplace_back(PowerSourceDescription{});
  EXPECT_EQ(getPowerInfo(), ZORValue::dictionary({{"powerCapacity", 73},
                                                  {"powerFullCapacity", 5},
                                                  {"powerStateText", ""},
                                                  {"powerSourceName", "BAT0"}}));

  machine.powerSources.descriptions.front() = std::nullopt;
  EXPECT_EQ(getPowerInfo(), std::nullopt) << "vanished while it was read";
}

}  // namespace
}  // namespace zor
