#include "device/stream/rapi_stream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "platform/fault.h"

namespace device {
namespace {

// Hands out its input one byte per read.
class TrickleChannel final : public ByteChannel {
 public:
  explicit TrickleChannel(std::vector<std::uint8_t> input)
      : input_(std::move(input)) {}
  Result<std::size_t> ReadSome(std::span<std::uint8_t> buffer) override {
    if (buffer.empty() || next_ == input_.size()) return std::size_t{0};
    buffer[0] = input_[next_++];
    return std::size_t{1};
  }
  Status WriteAll(std::span<const std::uint8_t>) override {
    return Status::Ok();
  }

 private:
  std::vector<std::uint8_t> input_;
  std::size_t next_ = 0;
};

std::string TempImagePath() {
  static int counter = 0;
  return (std::filesystem::temp_directory_path() /
          ("vorn-rapi-stream-" + std::to_string(::getpid()) + "-" +
           std::to_string(counter++) + ".img"))
      .string();
}

int CountRows(DeviceImage& image) {
  Statement count = image.Prepare("SELECT count(*) FROM packet_rows");
  return count.Step() ? static_cast<int>(count.Int(0)) : -1;
}

TEST(RapiStreamTest, ReadWaitsForEveryByte) {
  auto image = DeviceImage::InMemory();
  TrickleChannel channel({1, 2, 3, 4, 5});
  auto* stream = new RapiStream(channel, *image);
  std::uint8_t buffer[6];
  std::memset(buffer, 0xBD, sizeof(buffer));
  ULONG done = 0xBDBDBDBD;
  EXPECT_EQ(stream->Read(buffer, 5, &done), S_OK);
  EXPECT_EQ(done, 5u);
  EXPECT_EQ(buffer[4], 5);
  EXPECT_EQ(buffer[5], 0xBD);
  EXPECT_EQ(stream->Release(), 0u);
}

TEST(RapiStreamTest, ClosedChannelIsAFault) {
  auto image = DeviceImage::InMemory();
  MemoryChannel channel({1, 2});
  auto* stream = new RapiStream(channel, *image);
  std::uint8_t buffer[4];
  EXPECT_THROW(stream->Read(buffer, 4, nullptr), platform::Fault);
  EXPECT_FALSE(image->InTransaction());
  stream->Release();
}

TEST(RapiStreamTest, WritesReachTheChannel) {
  auto image = DeviceImage::InMemory();
  MemoryChannel channel({});
  auto* stream = new RapiStream(channel, *image);
  const std::uint8_t reply[] = {0, 0, 0, 0};
  ULONG done = 0;
  EXPECT_EQ(stream->Write(reply, 4, &done), S_OK);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(channel.output().size(), 4u);
  EXPECT_EQ(stream->AddRef(), 2u);
  EXPECT_EQ(stream->Release(), 1u);
  EXPECT_EQ(stream->Release(), 0u);
}

TEST(RapiStreamTest, PacketChangesBecomeVisibleWhenTheReplyIsWritten) {
  std::string path = TempImagePath();
  auto created = DeviceImage::Create(path);
  ASSERT_TRUE(created.ok()) << created.status().message();
  DeviceImage& image = **created;
  image.Exec("CREATE TABLE packet_rows(n INTEGER)");
  auto other = DeviceImage::Open(path);
  ASSERT_TRUE(other.ok()) << other.status().message();

  MemoryChannel channel({2, 0, 0, 0, 1, 1, 2, 0, 0, 0, 1, 1});
  auto* stream = new RapiStream(channel, image);
  std::uint8_t packet[4];
  const std::uint8_t reply[4] = {0, 0, 0, 0};
  for (int round = 1; round <= 2; ++round) {
    ASSERT_EQ(stream->Read(packet, 4, nullptr), S_OK);
    EXPECT_TRUE(image.InTransaction());
    ASSERT_EQ(stream->Read(packet, 2, nullptr), S_OK);
    image.Exec("INSERT INTO packet_rows VALUES(1)");
    EXPECT_EQ(CountRows(**other), round - 1);
    ASSERT_EQ(stream->Write(reply, 4, nullptr), S_OK);
    EXPECT_FALSE(image.InTransaction());
    EXPECT_EQ(CountRows(**other), round);
    ASSERT_EQ(stream->Write(reply, 0, nullptr), S_OK);
  }
  stream->Release();
  other.value().reset();
  created.value().reset();
  for (const char* suffix : {"", "-wal", "-shm"}) {
    std::filesystem::remove(path + suffix);
  }
}

}  // namespace
}  // namespace device
