#include <gtest/gtest.h>

#include "literals/literals.h"
#include "tests/fakes/fake_ports.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

// Empties the process cache, as a new process would find it. What the call keeps goes into a
// machine of its own.
void startANewProcess() {
  const testing::FakeMachine elsewhere;
  _OpenUDID::_dfp_setOptOut(false);
}

class SharedIdentifier : public ::testing::Test {
 protected:
  SharedIdentifier() { startANewProcess(); }

  std::string value() { return _OpenUDID::_dfp_valueWithError(&error); }
  std::string valueInNewProcess() {
    startANewProcess();
    return value();
  }

  std::optional<PropertyDictionary> local() {
    const auto stored = machine.defaults.objectForKey(literals::kSharedIdentifierKey.str());
    if (!stored || stored->dictionary() == nullptr) return std::nullopt;
    return *stored->dictionary();
  }

  testing::FakeMachine machine;
  ZORError error;
};

TEST_F(SharedIdentifier, AFreshIdentifierIsTheDigestOfAUuidAndARandomNumber) {
  machine.random.next({0x0BADF00D});
  // printf '00000000-0000-4000-8000-000000000001' | md5sum, then the number.
  EXPECT_EQ(_OpenUDID::_generateFreshOpenUDID(), "459c7999f440244b163b38e375fededd0badf00d");
}

TEST_F(SharedIdentifier, TheFirstRunKeepsIdentifierApplicationDateAndSlot) {
  machine.clock.set(1700000000);
  const std::string identifier = value();
  EXPECT_EQ(identifier.size(), 40U);
  EXPECT_EQ(error.code, 0);
  ASSERT_TRUE(local());
  EXPECT_EQ(textForKey(*local(), literals::kSharedIdentifierKey.str()), identifier);
  EXPECT_EQ(textForKey(*local(), literals::kSharedApplicationKey.str()).value_or("").size(), 36U);
  EXPECT_EQ(dateForKey(*local(), literals::kSharedTimestampKey.str()), Date{1700000000});
  EXPECT_EQ(textForKey(*local(), literals::kSharedSlotKey.str()),
            literals::kSharedSlotPrefix.str() + "0");
  EXPECT_FALSE(machine.defaults.objectForKey(literals::kSharedApplicationKey.str()))
      << "The application identifier is never stored at the top level.";
}

TEST_F(SharedIdentifier, ASecondCallReadsNeitherSlotsNorDefaults) {
  const std::string identifier = value();
  const int looks = machine.pasteboards.looks;
  machine.defaults.removeObject(literals::kSharedIdentifierKey.str());
  EXPECT_EQ(value(), identifier);
  EXPECT_EQ(error.code, 0);
  EXPECT_EQ(error.localizedDescription, literals::kSharedCachedText.str());
  EXPECT_EQ(machine.pasteboards.looks, looks);
}

TEST_F(SharedIdentifier, OptingOutGivesThePlaceholderUntilOptingInAgain) {
  const std::string identifier = value();
  machine.defaults.setObject(literals::kSharedApplicationKey.str(), "APP");
  machine.clock.set(1700000000);
  _OpenUDID::_dfp_setOptOut(true);
  EXPECT_EQ(value(), literals::kSharedOptedOutPlaceholder.str());
  EXPECT_EQ(error.code, 1);
  EXPECT_EQ(error.localizedDescription, "Application APP opted out at 2023-11-14 22:13:20 +0000");
  _OpenUDID::_dfp_setOptOut(false);
  EXPECT_EQ(value(), identifier);
  EXPECT_EQ(error.code, 0);
}

TEST_F(SharedIdentifier, ADefaultsEntryThatIsNoDictionaryIsReplaced) {
  machine.defaults.setObject(literals::kSharedIdentifierKey.str(), "junk");
  const std::string identifier = value();
  ASSERT_TRUE(local());
  EXPECT_EQ(textForKey(*local(), literals::kSharedIdentifierKey.str()), identifier);
}

TEST_F(SharedIdentifier, WithoutAnyPasteboardTheApplicationKeepsAnIdentifierOfItsOwn) {
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    machine.pasteboards.missing.push_back(literals::kSharedSlotPrefix.str() +
                                          std::to_string(index));
  }
  const std::string identifier = value();
  EXPECT_EQ(valueInNewProcess(), identifier);
}

}  // namespace
}  // namespace zor
