// Request packets and frames built by hand for tests: every byte is the
// test's own, so replies can be compared whole.
#ifndef VORN_TESTS_SUPPORT_PACKET_BUILDER_H_
#define VORN_TESTS_SUPPORT_PACKET_BUILDER_H_

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

using Bytes = std::vector<std::uint8_t>;

class PacketBuilder {
 public:
  PacketBuilder(std::uint8_t command, std::uint8_t dataType)
      : bytes_{command, dataType} {}

  PacketBuilder& U8(std::uint8_t value);
  PacketBuilder& U16(std::uint16_t value);
  PacketBuilder& U32(std::uint32_t value);
  // u32 byte count including the NUL, then UTF-16LE text and NUL.
  PacketBuilder& Str(std::u16string_view text);
  // A 16-byte time record.
  PacketBuilder& Time(std::uint16_t year, std::uint16_t month,
                      std::uint16_t dayOfWeek, std::uint16_t day,
                      std::uint16_t hour = 0, std::uint16_t minute = 0,
                      std::uint16_t second = 0, std::uint16_t millis = 0);
  PacketBuilder& Raw(const Bytes& bytes);

  const Bytes& packet() const { return bytes_; }
  // The packet with its u32 length in front.
  Bytes Frame() const;

 private:
  Bytes bytes_;
};

// A contact-style record: u32 field count, then per field u32 id and value.
class RecordBuilder {
 public:
  RecordBuilder& Str(std::uint32_t id, std::u16string_view text);
  RecordBuilder& Time(std::uint32_t id, std::uint16_t year, std::uint16_t month,
                      std::uint16_t day, std::uint16_t hour = 0,
                      std::uint16_t minute = 0, std::uint16_t second = 0);
  // A field id with no value (ids outside the table carry none).
  RecordBuilder& IdOnly(std::uint32_t id);
  Bytes Build() const;

 private:
  std::uint32_t count_ = 0;
  Bytes fields_;
};

// Little-endian pieces for expected replies.
Bytes LE32(std::uint32_t value);
Bytes LE16(std::uint16_t value);
// u32 byte count including the NUL, then the UTF-16LE text and NUL.
Bytes Counted(std::u16string_view text);
Bytes Cat(std::initializer_list<Bytes> parts);
// A reply frame: u32 length, then the bytes.
Bytes ReplyFrame(const Bytes& reply);
// Frames a packet given as bytes.
Bytes FramePacket(const Bytes& packet);
std::string Hex(const Bytes& bytes);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_PACKET_BUILDER_H_
