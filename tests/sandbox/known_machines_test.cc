#include "sandbox/known_machines.h"

#include <gtest/gtest.h>

#include "literals/literals.h"

namespace zor::sandbox {
namespace {

ZORValue identity(const ZORValue& wired, const ZORValue& wireless, const ZORValue& uuid,
                  const ZORValue& serial) {
  return ZORValue::dictionary({{literals::kSealedFirstInterfaceKey.str(), wired},
                               {literals::kSealedSecondInterfaceKey.str(), wireless},
                               {literals::kSealedHardwareUUIDKey.str(), uuid},
                               {literals::kSealedSerialNumberKey.str(), serial}});
}

TEST(KnownMachines, KeepTheirFingerprintAsLongAsMostStaysAndClonesGetTheirOwn) {
  KnownMachines machines;
  const std::string first = machines.fingerprintOf(identity("w1", "a1", "U1", "S1"));
  EXPECT_EQ(machines.fingerprintOf(identity("w1", "a1", "U1", nullptr)), first) << "not as root";
  EXPECT_EQ(machines.fingerprintOf(identity("a1", "w1", "U2", nullptr)), first) << "reinstalled";
  EXPECT_EQ(machines.fingerprintOf(identity("w1", "a2", "U2", "S1")), first) << "new radio";
  EXPECT_NE(machines.fingerprintOf(identity("w3", "a3", "U3", "S3")), first) << "another machine";

  const std::string clone = machines.fingerprintOf(identity("w9", nullptr, "U2", "S1"));
  EXPECT_NE(clone, first) << "the same image on other hardware";
  EXPECT_EQ(machines.fingerprintOf(identity("w9", nullptr, "U2", "S1")), clone);
  EXPECT_EQ(machines.fingerprintOf(identity("w1", "a2", "U2", "S1")), first);
}

TEST(KnownMachines, NothingInCommonIsNothingKnown) {
  KnownMachines machines;
  const auto bare = identity(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(machines.fingerprintOf(bare), machines.fingerprintOf(bare));
  EXPECT_NE(machines.fingerprintOf(identity(nullptr, nullptr, "U1", nullptr)),
            machines.fingerprintOf(identity(nullptr, nullptr, "U2", nullptr)));
}

}  // namespace
}  // namespace zor::sandbox
