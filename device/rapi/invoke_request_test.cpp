#include "device/rapi/invoke_request.h"

#include <gtest/gtest.h>

#include "tests/support/rapi_client.h"

namespace device {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::LE32;

// The packet of a whole request, without its u32 length.
Bytes Packet(const Bytes& request) {
  return Bytes(request.begin() + 4, request.end());
}

TEST(InvokeRequestTest, ReadsTheFlaggedVariant) {
  Bytes request = testing_support::RapiInvoke45(u"VORNAPIMGR", u"rsCeApiMgr",
                                                {7, 8, 9}, true);
  // 4 command + 2 * (4 + 4 + 22) + 4 + 3 + 4.
  ASSERT_EQ(request.size(), 4u + 4 + 60 + 4 + 3 + 4);
  Result<InvokeRequest> parsed = InvokeRequest::Parse(Packet(request));
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  EXPECT_EQ(parsed->command, 0x45u);
  EXPECT_EQ(parsed->module, u"VORNAPIMGR");
  EXPECT_EQ(parsed->function, u"rsCeApiMgr");
  EXPECT_EQ(parsed->input, (Bytes{7, 8, 9}));
  EXPECT_TRUE(parsed->stream);
}

TEST(InvokeRequestTest, ReadsTheByteCountedVariant) {
  Bytes request =
      testing_support::RapiInvoke4c(u"vornapimgr.dll", u"f", {}, false);
  Result<InvokeRequest> parsed = InvokeRequest::Parse(Packet(request));
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  EXPECT_EQ(parsed->command, 0x4cu);
  EXPECT_EQ(parsed->module, u"vornapimgr.dll");
  EXPECT_EQ(parsed->function, u"f");
  EXPECT_TRUE(parsed->input.empty());
  EXPECT_FALSE(parsed->stream);
}

TEST(InvokeRequestTest, AnAbsentNameHasNoValue) {
  Result<InvokeRequest> parsed = InvokeRequest::Parse(
      Packet(testing_support::RapiInvoke45NoModule(u"rsCeApiMgr")));
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  EXPECT_FALSE(parsed->module.has_value());
  EXPECT_EQ(parsed->function, u"rsCeApiMgr");
}

TEST(InvokeRequestTest, ShortPacketsAreRefused) {
  Bytes packet = Packet(
      testing_support::RapiInvoke45(u"VORNAPIMGR", u"rsCeApiMgr", {1}, true));
  for (std::size_t cut = 0; cut < packet.size(); ++cut) {
    Bytes shorter(packet.begin(), packet.begin() + static_cast<long>(cut));
    EXPECT_FALSE(InvokeRequest::Parse(shorter).ok()) << cut;
  }
  // A unit count far beyond the packet.
  Bytes huge = Cat({LE32(0x45), LE32(1), LE32(0x80000000u)});
  EXPECT_FALSE(InvokeRequest::Parse(huge).ok());
  EXPECT_FALSE(InvokeRequest::Parse(Cat({LE32(0x46), LE32(0)})).ok());
}

TEST(InvokeRequestTest, StreamAnswers) {
  InvokeRequest flagged;
  flagged.command = 0x45;
  EXPECT_EQ(flagged.StreamAnswer(0), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(flagged.StreamAnswer(126), (Bytes{0x7E, 0, 0, 0}));
  InvokeRequest counted;
  counted.command = 0x4c;
  EXPECT_EQ(counted.StreamAnswer(127), (Bytes{4, 0, 0, 0, 0x7F, 0, 0, 0}));
}

TEST(InvokeRequestTest, BufferAnswers) {
  InvokeRequest flagged;
  flagged.command = 0x45;
  EXPECT_EQ(flagged.BufferAnswer(0, 1, Bytes{0xAB, 0xCD}), Cat({LE32(18),
                                                                LE32(0),
                                                                LE32(0),
                                                                LE32(1),
                                                                LE32(2),
                                                                {0xAB, 0xCD},
                                                                LE32(0)}));
  InvokeRequest counted;
  counted.command = 0x4c;
  EXPECT_EQ(counted.BufferAnswer(126, 0x8007007E, {}),
            Cat({LE32(12), LE32(126), LE32(0x8007007E), LE32(0)}));
}

}  // namespace
}  // namespace device
