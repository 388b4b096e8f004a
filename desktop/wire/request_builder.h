// Builds one request packet: command byte, data type byte, then the
// command's arguments appended in order. Integers go out little-endian;
// text goes out as a counted UTF-16LE string whose u32 byte count includes
// the terminating NUL.
#ifndef VORN_DESKTOP_WIRE_REQUEST_BUILDER_H_
#define VORN_DESKTOP_WIRE_REQUEST_BUILDER_H_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "desktop/wire/time_record.h"
#include "protocol/wire.h"

namespace desktop {

class RequestBuilder {
 public:
  // Starts a packet with its command and data type bytes.
  RequestBuilder(protocol::Command command, protocol::DataType type);
  // Starts a packet from raw command and data type bytes (for tools that
  // send what the protocol does not name).
  RequestBuilder(std::uint8_t command, std::uint8_t type);

  RequestBuilder& Byte(std::uint8_t value);
  RequestBuilder& U32(std::uint32_t value);
  // u32 byte count 2 * (characters + 1), the text, a NUL character.
  RequestBuilder& String(std::u16string_view text);
  // The 16-byte time record.
  RequestBuilder& Time(const TimeRecord& time);
  RequestBuilder& Bytes(std::span<const std::uint8_t> bytes);

  // Bytes written so far; Overwrite patches a u32 written earlier.
  std::size_t size() const { return packet_.size(); }
  void OverwriteU32(std::size_t offset, std::uint32_t value);

  const std::vector<std::uint8_t>& packet() const { return packet_; }
  std::vector<std::uint8_t> Take() { return std::move(packet_); }

 private:
  std::vector<std::uint8_t> packet_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_REQUEST_BUILDER_H_
