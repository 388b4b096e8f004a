#include "device/rapi/device_password.h"

#include <gtest/gtest.h>

#include "tests/support/rapi_client.h"

namespace device {
namespace {

using testing_support::Bytes;

// The bytes after the u16 count of a password step.
Bytes Sent(std::u16string_view password, std::uint8_t key) {
  Bytes step = testing_support::RapiPasswordStep(password, key);
  return Bytes(step.begin() + 2, step.end());
}

TEST(DevicePasswordTest, AnImageStartsWithoutOne) {
  auto image = DeviceImage::InMemory();
  EXPECT_FALSE(DevicePassword::Get(*image).has_value());
  DevicePassword::Clear(*image);  // nothing to clear is fine
  EXPECT_FALSE(DevicePassword::Get(*image).has_value());
}

TEST(DevicePasswordTest, SetReplaceAndClear) {
  auto image = DeviceImage::InMemory();
  ASSERT_TRUE(DevicePassword::Set(*image, "sesam").ok());
  EXPECT_EQ(DevicePassword::Get(*image), u"sesam");
  ASSERT_TRUE(DevicePassword::Set(*image, "Grüße").ok());
  EXPECT_EQ(DevicePassword::Get(*image), u"Grüße");
  DevicePassword::Clear(*image);
  EXPECT_FALSE(DevicePassword::Get(*image).has_value());
}

TEST(DevicePasswordTest, BadPasswordsAreRefusedAndLeaveTheOldOne) {
  auto image = DeviceImage::InMemory();
  ASSERT_TRUE(DevicePassword::Set(*image, "old").ok());
  EXPECT_FALSE(DevicePassword::Set(*image, "").ok());
  EXPECT_FALSE(DevicePassword::Set(*image, std::string("a\0b", 3)).ok());
  EXPECT_FALSE(DevicePassword::Set(
                   *image, std::string(DevicePassword::kMaxUnits + 1, 'x'))
                   .ok());
  EXPECT_TRUE(
      DevicePassword::Validate(std::string(DevicePassword::kMaxUnits, 'x'))
          .ok());
  EXPECT_EQ(DevicePassword::Get(*image), u"old");
}

TEST(DevicePasswordTest, MatchesTheXoredTextWithItsNul) {
  EXPECT_TRUE(DevicePassword::Matches(Sent(u"sesam", 0xA5), 0xA5, u"sesam"));
  EXPECT_TRUE(DevicePassword::Matches(Sent(u"sesam", 0), 0, u"sesam"));
  // "ab" with key 0x5A: 61 00 62 00 00 00 -> 3B 5A 38 5A 5A 5A.
  EXPECT_TRUE(DevicePassword::Matches(Bytes{0x3B, 0x5A, 0x38, 0x5A, 0x5A, 0x5A},
                                      0x5A, u"ab"));
  EXPECT_FALSE(DevicePassword::Matches(Sent(u"sesam", 0xA5), 0xA4, u"sesam"));
  EXPECT_FALSE(DevicePassword::Matches(Sent(u"Sesam", 0xA5), 0xA5, u"sesam"));
  EXPECT_FALSE(DevicePassword::Matches(Sent(u"sesa", 0xA5), 0xA5, u"sesam"));
  Bytes noNul = Sent(u"sesam", 0xA5);
  noNul.resize(noNul.size() - 2);
  EXPECT_FALSE(DevicePassword::Matches(noNul, 0xA5, u"sesam"));
  Bytes odd = Sent(u"sesam", 0xA5);
  odd.pop_back();
  EXPECT_FALSE(DevicePassword::Matches(odd, 0xA5, u"sesam"));
  EXPECT_FALSE(DevicePassword::Matches({}, 0xA5, u"sesam"));
}

}  // namespace
}  // namespace device
