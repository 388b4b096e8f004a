#include "agent/session/request_reader.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/fault.h"

namespace agent {
namespace {

RequestPtr Over(const std::vector<BYTE>& bytes) {
  return RequestPtr(bytes.data(), bytes.data() + bytes.size());
}

TEST(RequestReaderTest, ReadsLittleEndianUnalignedValues) {
  std::vector<BYTE> packet = {0x07, 0x78, 0x56, 0x34, 0x12, 0xAA};
  DWORD offset = 0;
  EXPECT_EQ(ReadByte(Over(packet), offset), 0x07);
  EXPECT_EQ(ReadLong(Over(packet), offset), 0x12345678U);
  EXPECT_EQ(offset, 5U);
}

TEST(RequestReaderTest, TimeInDateOnlyModeKeepsMilliseconds) {
  // 2024-03-15 (Friday) 14:35:20.250
  std::vector<BYTE> packet = {0xE8, 0x07, 3,  0, 5,  0, 15,   0,
                              14,   0,    35, 0, 20, 0, 0xFA, 0x00};
  SYSTEMTIME time;
  std::fill_n(reinterpret_cast<BYTE*>(&time), sizeof(time), 0xBD);
  DWORD offset = 0;
  EXPECT_EQ(ReadTime(&time, Over(packet), offset, kReadTimeDateOnly), &time);
  EXPECT_EQ(offset, 16U);
  EXPECT_EQ(time.wYear, 2024);
  EXPECT_EQ(time.wMonth, 3);
  EXPECT_EQ(time.wDayOfWeek, 5);
  EXPECT_EQ(time.wDay, 15);
  EXPECT_EQ(time.wHour, 0);
  EXPECT_EQ(time.wMinute, 0);
  EXPECT_EQ(time.wSecond, 0);
  EXPECT_EQ(time.wMilliseconds, 250);

  offset = 0;
  ReadTime(&time, Over(packet), offset, 1);
  EXPECT_EQ(time.wHour, 14);
  EXPECT_EQ(time.wMinute, 35);
  EXPECT_EQ(time.wSecond, 20);
  EXPECT_EQ(time.wMilliseconds, 250);
}

TEST(RequestReaderTest, OddStringLengthGivesZeroFilledBufferOfTwiceNPlusOne) {
  std::vector<BYTE> packet = {3, 0, 0, 0, 0x41, 0x42, 0x43, 0xEE};
  DWORD offset = 0;
  OwnedString text = ReadString(Over(packet), offset);
  EXPECT_EQ(offset, 7U);
  // 2 × (3 + 1) = 8 bytes: 'A','B' as one unit, 'C' then zeros.
  EXPECT_EQ(text[0], 0x4241);
  EXPECT_EQ(text[1], 0x0043);
  EXPECT_EQ(text[2], 0);
  EXPECT_EQ(text[3], 0);
}

TEST(RequestReaderTest, ReadPastTheEndIsAFault) {
  std::vector<BYTE> packet = {1, 2, 3};
  DWORD offset = 0;
  EXPECT_THROW(ReadLong(Over(packet), offset), platform::Fault);
  offset = 3;
  EXPECT_THROW(ReadByte(Over(packet), offset), platform::Fault);
  std::vector<BYTE> claim = {0xFF, 0xFF, 0xFF, 0x7F, 0x41};
  offset = 0;
  EXPECT_THROW(ReadString(Over(claim), offset), platform::Fault);
  EXPECT_THROW(Over(packet) + 4, platform::Fault);
  EXPECT_NO_THROW(Over(packet) + 3);
}

TEST(RequestReaderTest, HugeOffsetDoesNotWrap) {
  std::vector<BYTE> packet = {1, 2, 3, 4};
  DWORD offset = 0xFFFFFFFE;
  EXPECT_THROW(ReadLong(Over(packet), offset), platform::Fault);
}

}  // namespace
}  // namespace agent
