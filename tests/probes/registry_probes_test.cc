#include <ZORFingerPrint/ZORProbes.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

TEST(RegistryProbes, KeepTheKindsOfAPropertyApart) {
  FakeMachine machine;
  machine.devices.properties["class"] = {{"text", "plain"},
                                         {"data", Data{'A', 'B', 'C', 0}},
                                         {"noText", Data{'A', 0xFF}},
                                         {"number", 7},
                                         {"other", ZORValue::array()}};
  EXPECT_EQ(getPropertyInservice("text", "class"), "plain");
  EXPECT_EQ(getPropertyInservice("data", "class"), std::string("ABC\0", 4));
  for (const char* key :
       {"noText", "number", "other", "absent", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(getPropertyInservice(key, "class"), std::nullopt);
  }
  EXPECT_EQ(getPropertyInservice("text", "absent"), std::nullopt);
  EXPECT_EQ(getPropertyInservice("text", nullptr), std::nullopt);
}

TEST(RegistryProbes, EachReadsItsOwnText) {
  FakeMachine machine;
  EXPECT_EQ(getBluetoothAddress(), std::nullopt);
  machine.devices.uuid = "uuid";
  machine.devices.firmware = {{FirmwareText::serialNumber, "serial"},
                              {FirmwareText::productName, "product"},
                              {FirmwareText::model, "model"},
                              {FirmwareText::boardName, "board"}};
  machine.devices.controller = BluetoothController{"Zoë", "00:AA:01:00:00:00"};
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
  const USBDevice keyboard{"Tastatur ä", 0x46f4, 1, "4C53"};
  // A value of an unexpected kind is kept as it is.
  machine.devices.usb = {keyboard, keyboard, USBDevice{nullptr, "odd", nullptr, nullptr}};
  const auto whole = ZORValue::dictionary({{"usbProductName", "Tastatur ä"},
                                           {"usbVendorId", 0x46f4},
                                           {"usbProductId", 1},
                                           {"usbSerialText", "4C53"}});
  const auto sparse = ZORValue::dictionary(
      {{"usbProductName", ""}, {"usbVendorId", "odd"}, {"usbProductId", 0}, {"usbSerialText", ""}});
  EXPECT_EQ(getUSBDevices(), ZORValue::array({whole, whole, sparse}));

  machine.devices.usb.reset();
  EXPECT_EQ(getUSBDevices(), ZORValue::array()) << "the platform does not answer";
}

TEST(PowerProbe, NumbersKeepTheirLow32BitsAndAbsentValuesHaveDefaults) {
  FakeMachine machine;
  EXPECT_EQ(getPowerInfo(), std::nullopt);
  machine.devices.powerSource = PowerSource{73, (std::int64_t{1} << 32) + 5, nullptr, "BAT0"};
  EXPECT_EQ(getPowerInfo(), ZORValue::dictionary({{"powerCapacity", 73},
                                                  {"powerFullCapacity", 5},
                                                  {"powerStateText", ""},
                                                  {"powerSourceName", "BAT0"}}));
}

}  // namespace
}  // namespace zor
