#include "agent/session/reply_writer.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/fault.h"

namespace agent {
namespace {

class TestWriter : public ReplyWriter {
 public:
  TestWriter() : buffer(protocol::kReplyBufferSize, 0xBD) {
    reply = buffer.data();
  }
  std::vector<BYTE> Written() const {
    return std::vector<BYTE>(buffer.begin(), buffer.begin() + replyLength);
  }
  std::vector<BYTE> buffer;
};

TEST(ReplyWriterTest, EmptyStringPropertyIsTenBytesAndCounted) {
  TestWriter writer;
  EXPECT_EQ(writer.WritePropString(0x22, u""), 1);
  EXPECT_EQ(writer.Written(),
            (std::vector<BYTE>{0x22, 0, 0, 0, 2, 0, 0, 0, 0, 0}));
  EXPECT_EQ(writer.propCount(), 1);
  EXPECT_EQ(writer.buffer[10], 0xBD);
}

TEST(ReplyWriterTest, MissingStringIsWrittenAsEmpty) {
  TestWriter writer;
  EXPECT_EQ(writer.WriteString(nullptr), 1);
  EXPECT_EQ(writer.Written(), (std::vector<BYTE>{2, 0, 0, 0, 0, 0}));
  EXPECT_EQ(writer.propCount(), 0);
}

TEST(ReplyWriterTest, SoftLimitRefusesTextEndingPastHalfTheBuffer) {
  TestWriter writer;
  writer.replyLength = 110590;
  EXPECT_EQ(writer.WritePropString(7, u"x"), 0);
  EXPECT_EQ(writer.overflow, 1U);
  EXPECT_EQ(writer.replyLength, 110590U);
  EXPECT_EQ(writer.propCount(), 0);
  EXPECT_EQ(writer.buffer[110590], 0xBD);

  TestWriter fits;
  fits.replyLength = 110588;
  EXPECT_EQ(fits.WritePropString(7, u"x"), 1);
  EXPECT_EQ(fits.overflow, 0U);
  // The id and count are not part of the test: the record ends 8 bytes on.
  EXPECT_EQ(fits.replyLength, 110588U + 8 + 4);
  EXPECT_EQ(fits.propCount(), 1);

  TestWriter plain;
  plain.replyLength = 110590;
  EXPECT_EQ(plain.WriteString(u"x"), 0);
  EXPECT_EQ(plain.overflow, 1U);
}

TEST(ReplyWriterTest, PropertyCountWrapsAt256) {
  TestWriter writer;
  for (int i = 0; i < 257; ++i) writer.WritePropLong(1, 2);
  EXPECT_EQ(writer.propCount(), 1);
  EXPECT_EQ(writer.replyLength, 257U * 8);
}

TEST(ReplyWriterTest, FixedSizeWritersIgnoreTheSoftLimit) {
  TestWriter writer;
  writer.replyLength = 200000;
  EXPECT_EQ(writer.WritePropLong(3, 0x01020304), 1);
  EXPECT_EQ(writer.replyLength, 200008U);
  EXPECT_EQ(writer.overflow, 0U);
}

TEST(ReplyWriterTest, TimeAndBlobLayouts) {
  TestWriter writer;
  SYSTEMTIME time = {2001, 2, 3, 4, 5, 6, 7, 8};
  writer.WritePropTime(1, time);
  std::vector<BYTE> expected = {1, 0, 0, 0, 0xD1, 0x07, 2, 0, 3, 0,
                                4, 0, 5, 0, 6,    0,    7, 0, 8, 0};
  EXPECT_EQ(writer.Written(), expected);
  BYTE block[98];
  for (int i = 0; i < 98; ++i) block[i] = static_cast<BYTE>(i);
  writer.WritePropBlob(19, block);
  EXPECT_EQ(writer.replyLength, 20U + 102);
  EXPECT_EQ(writer.buffer[20], 19);
  EXPECT_EQ(writer.buffer[24], 0);
  EXPECT_EQ(writer.buffer[24 + 97], 97);
  EXPECT_EQ(writer.propCount(), 2);
}

TEST(ReplyWriterTest, WritingPastTheBufferIsAFault) {
  TestWriter writer;
  writer.replyLength = protocol::kReplyBufferSize - 3;
  EXPECT_THROW(writer.WriteLong(1), platform::Fault);
  writer.replyLength = protocol::kReplyBufferSize - 4;
  EXPECT_NO_THROW(writer.WriteLong(1));
}

}  // namespace
}  // namespace agent
