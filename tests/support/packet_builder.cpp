#include "tests/support/packet_builder.h"

#include <cstdio>

namespace testing_support {

PacketBuilder& PacketBuilder::U8(std::uint8_t value) {
  bytes_.push_back(value);
  return *this;
}

PacketBuilder& PacketBuilder::U16(std::uint16_t value) {
  return Raw(LE16(value));
}

PacketBuilder& PacketBuilder::U32(std::uint32_t value) {
  return Raw(LE32(value));
}

PacketBuilder& PacketBuilder::Str(std::u16string_view text) {
  return Raw(Counted(text));
}

PacketBuilder& PacketBuilder::Time(std::uint16_t year, std::uint16_t month,
                                   std::uint16_t dayOfWeek, std::uint16_t day,
                                   std::uint16_t hour, std::uint16_t minute,
                                   std::uint16_t second, std::uint16_t millis) {
  for (std::uint16_t v :
       {year, month, dayOfWeek, day, hour, minute, second, millis}) {
    U16(v);
  }
  return *this;
}

PacketBuilder& PacketBuilder::Raw(const Bytes& bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

Bytes PacketBuilder::Frame() const { return FramePacket(bytes_); }

RecordBuilder& RecordBuilder::Str(std::uint32_t id, std::u16string_view text) {
  ++count_;
  fields_ = Cat({fields_, LE32(id), Counted(text)});
  return *this;
}

RecordBuilder& RecordBuilder::Time(std::uint32_t id, std::uint16_t year,
                                   std::uint16_t month, std::uint16_t day,
                                   std::uint16_t hour, std::uint16_t minute,
                                   std::uint16_t second) {
  ++count_;
  fields_ = Cat({fields_, LE32(id), LE16(year), LE16(month), LE16(0), LE16(day),
                 LE16(hour), LE16(minute), LE16(second), LE16(0)});
  return *this;
}

RecordBuilder& RecordBuilder::IdOnly(std::uint32_t id) {
  ++count_;
  fields_ = Cat({fields_, LE32(id)});
  return *this;
}

Bytes RecordBuilder::Build() const { return Cat({LE32(count_), fields_}); }

Bytes LE32(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value),
          static_cast<std::uint8_t>(value >> 8),
          static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 24)};
}

Bytes LE16(std::uint16_t value) {
  return {static_cast<std::uint8_t>(value),
          static_cast<std::uint8_t>(value >> 8)};
}

Bytes Counted(std::u16string_view text) {
  Bytes out = LE32(static_cast<std::uint32_t>(2 * (text.size() + 1)));
  for (char16_t unit : text) {
    out.push_back(static_cast<std::uint8_t>(unit));
    out.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  out.push_back(0);
  out.push_back(0);
  return out;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts)
    out.insert(out.end(), part.begin(), part.end());
  return out;
}

Bytes ReplyFrame(const Bytes& reply) {
  return Cat({LE32(static_cast<std::uint32_t>(reply.size())), reply});
}

Bytes FramePacket(const Bytes& packet) {
  return Cat({LE32(static_cast<std::uint32_t>(packet.size())), packet});
}

std::string Hex(const Bytes& bytes) {
  std::string out;
  char digits[3];
  for (std::uint8_t b : bytes) {
    std::snprintf(digits, sizeof(digits), "%02x", b);
    out += digits;
  }
  return out;
}

}  // namespace testing_support
