#include "desktop/wire/request_builder.h"

#include <gtest/gtest.h>

#include "desktop/wire/reply_reader.h"

namespace desktop {
namespace {

using protocol::Command;
using protocol::DataType;
using Bytes = std::vector<std::uint8_t>;

TEST(RequestBuilderTest, StartsWithCommandAndType) {
  RequestBuilder request(Command::kGetRecordCount, DataType::kTasks);
  EXPECT_EQ(request.packet(), (Bytes{0x06, 0x03}));
}

TEST(RequestBuilderTest, IntegersAreLittleEndian) {
  RequestBuilder request(Command::kGetRecord, DataType::kContacts);
  request.U32(0x12345678).Byte(0xAB);
  EXPECT_EQ(request.packet(),
            (Bytes{0x07, 0x01, 0x78, 0x56, 0x34, 0x12, 0xAB}));
}

TEST(RequestBuilderTest, StringCountsItsNul) {
  RequestBuilder request(Command::kFindContract, DataType::kContacts);
  request.String(u"Ab");
  EXPECT_EQ(request.packet(), (Bytes{0x0A, 0x01, 0x06, 0x00, 0x00, 0x00, 'A',
                                     0x00, 'b', 0x00, 0x00, 0x00}));
}

TEST(RequestBuilderTest, EmptyStringIsJustTheNul) {
  RequestBuilder request(Command::kAddContract, DataType::kMail);
  request.String(u"");
  EXPECT_EQ(request.packet(),
            (Bytes{0x08, 0x04, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(RequestBuilderTest, NonLatinTextIsUtf16) {
  RequestBuilder request(Command::kFindContract, DataType::kContacts);
  request.String(u"\u03A9\U0001F600");  // omega, then a surrogate pair
  EXPECT_EQ(request.packet(),
            (Bytes{0x0A, 0x01, 0x08, 0x00, 0x00, 0x00, 0xA9, 0x03, 0x3D, 0xD8,
                   0x00, 0xDE, 0x00, 0x00}));
}

TEST(RequestBuilderTest, TimeRecordIsSixteenBytes) {
  RequestBuilder request(Command::kAddRecord, DataType::kContacts);
  TimeRecord t = TimeRecord::FromDate(2024, 2, 29);  // a Thursday
  t.hour = 13;
  t.minute = 5;
  t.second = 9;
  t.milliseconds = 500;
  request.Time(t);
  EXPECT_EQ(request.packet(),
            (Bytes{0x02, 0x01, 0xE8, 0x07, 0x02, 0x00, 0x04, 0x00, 0x1D, 0x00,
                   0x0D, 0x00, 0x05, 0x00, 0x09, 0x00, 0xF4, 0x01}));
}

TEST(RequestBuilderTest, RawBytesAndPatching) {
  RequestBuilder request(std::uint8_t{0x63}, std::uint8_t{0x09});
  std::size_t at = request.size();
  request.U32(0).Bytes(Bytes{1, 2, 3});
  request.OverwriteU32(at, 3);
  EXPECT_EQ(request.packet(), (Bytes{0x63, 0x09, 3, 0, 0, 0, 1, 2, 3}));
}

TEST(ReplyReaderTest, ReadsInOrder) {
  Bytes reply{0x01, 0x00, 0x03, 0x00, 0x00, 0x00, 0x04,
              0x00, 0x00, 0x00, 'h',  0x00, 0x00, 0x00};
  ReplyReader reader(reply);
  EXPECT_EQ(*reader.Byte("a"), 1);
  EXPECT_EQ(*reader.Byte("b"), 0);
  EXPECT_EQ(*reader.U32("c"), 3u);
  EXPECT_EQ(*reader.String("d"), u"h");
  EXPECT_TRUE(reader.AtEnd());
}

TEST(ReplyReaderTest, ShortReadsFailWithoutMoving) {
  Bytes reply{0x01, 0x02, 0x03};
  ReplyReader reader(reply);
  Result<std::uint32_t> value = reader.U32("count");
  ASSERT_FALSE(value.ok());
  EXPECT_NE(value.status().message().find("count"), std::string::npos);
  EXPECT_EQ(reader.offset(), 0u);
  EXPECT_FALSE(reader.Time("time").ok());
  EXPECT_FALSE(reader.Bytes(4, "bytes").ok());
  EXPECT_TRUE(reader.Bytes(3, "bytes").ok());
}

TEST(ReplyReaderTest, StringLongerThanReplyFails) {
  Bytes reply{0x10, 0x00, 0x00, 0x00, 'a', 0x00};
  ReplyReader reader(reply);
  EXPECT_FALSE(reader.String("name").ok());
  EXPECT_EQ(reader.offset(), 0u);
}

TEST(ReplyReaderTest, StringHugeCountFails) {
  Bytes reply{0xFF, 0xFF, 0xFF, 0xFF, 'a', 0x00};
  ReplyReader reader(reply);
  EXPECT_FALSE(reader.String("name").ok());
}

TEST(ReplyReaderTest, StringWithOddCountAndNoNul) {
  Bytes reply{0x03, 0x00, 0x00, 0x00, 'x', 0x00, 'y'};
  ReplyReader reader(reply);
  EXPECT_EQ(*reader.String("s"), u"x");
  EXPECT_TRUE(reader.AtEnd());
}

}  // namespace
}  // namespace desktop
