#include <ZORFingerPrint/ZORProbes.h>
#include <gtest/gtest.h>

#include <limits>

#include "probes/probe_values.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

template <typename Number>
Data bytesOf(Number number) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&number);
  return Data(bytes, bytes + sizeof number);
}

TEST(SystemProbes, StorageLeavesOutBlocksReservedForTheSuperuser) {
  EXPECT_EQ(storageBytes(FileSystemFigures{4096, 1000, 300, 250}), 3891200U);
  EXPECT_EQ(storageBytes(FileSystemFigures{65536, std::uint64_t{1} << 36, 0, 0}),
            std::uint64_t{1} << 52);
  EXPECT_EQ(storageBytes(std::nullopt), std::numeric_limits<std::uint64_t>::max());
}

TEST(SystemProbes, CpuCountTakesFourBytesAsTheyAreAndEightThroughADouble) {
  EXPECT_EQ(cpuCount(bytesOf(std::uint32_t{0xFFFFFFFF})), 0xFFFFFFFFU);
  EXPECT_EQ(cpuCount(bytesOf(std::int64_t{16})), 16U);
  EXPECT_EQ(cpuCount(bytesOf((std::int64_t{1} << 53) + 1)), std::uint64_t{1} << 53);
  EXPECT_EQ(cpuCount(bytesOf(std::int64_t{-1})), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(cpuCount(bytesOf(std::numeric_limits<std::int64_t>::max())), std::uint64_t{1} << 63);
  EXPECT_EQ(cpuCount(bytesOf(std::uint16_t{16})), 0U);
  EXPECT_EQ(cpuCount({}), 0U);
}

TEST(SystemProbes, NamedValuesEndAtTheirNulAndAreUtf8) {
  FakeMachine machine;
  machine.system.values["whole"] = {'a', 'b'};
  machine.system.values["ended"] = {'a', 0, 0xFF};
  machine.system.values["noText"] = {'a', 0xFF, 0};
  EXPECT_EQ(_getSysInfoByName("whole"), "ab");
  EXPECT_EQ(_getSysInfoByName("ended"), "a");
  EXPECT_EQ(_getSysInfoByName("noText"), std::nullopt);
  EXPECT_EQ(_getSysInfoByName("absent"), std::nullopt);
  EXPECT_EQ(_getSysInfoByName(nullptr), std::nullopt);
}

TEST(SystemProbes, PathsHoldTheVariablesThatAreSetEvenEmptyOnes) {
  FakeMachine machine;
  EXPECT_TRUE(getPaths().empty());
  machine.system.variables = {{"HOME", "/home/sam"}, {"SHELL", ""}, {"USER", "sam"}};
  EXPECT_EQ(getPaths(),
            (std::map<std::string, std::string>{{"homePath", "/home/sam"}, {"shellPath", ""}}));
}

}  // namespace
}  // namespace zor
