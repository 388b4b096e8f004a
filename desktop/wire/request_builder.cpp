#include "desktop/wire/request_builder.h"

#include <cassert>

namespace desktop {

RequestBuilder::RequestBuilder(protocol::Command command,
                               protocol::DataType type)
    : RequestBuilder(static_cast<std::uint8_t>(command),
                     static_cast<std::uint8_t>(type)) {}

RequestBuilder::RequestBuilder(std::uint8_t command, std::uint8_t type) {
  packet_.push_back(command);
  packet_.push_back(type);
}

RequestBuilder& RequestBuilder::Byte(std::uint8_t value) {
  packet_.push_back(value);
  return *this;
}

RequestBuilder& RequestBuilder::U32(std::uint32_t value) {
  std::uint8_t bytes[4];
  protocol::PutU32(bytes, value);
  packet_.insert(packet_.end(), bytes, bytes + 4);
  return *this;
}

RequestBuilder& RequestBuilder::String(std::u16string_view text) {
  U32(static_cast<std::uint32_t>(2 * (text.size() + 1)));
  for (char16_t c : text) {
    packet_.push_back(static_cast<std::uint8_t>(c));
    packet_.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  packet_.push_back(0);
  packet_.push_back(0);
  return *this;
}

RequestBuilder& RequestBuilder::Time(const TimeRecord& time) {
  auto bytes = time.Encode();
  packet_.insert(packet_.end(), bytes.begin(), bytes.end());
  return *this;
}

RequestBuilder& RequestBuilder::Bytes(std::span<const std::uint8_t> bytes) {
  packet_.insert(packet_.end(), bytes.begin(), bytes.end());
  return *this;
}

void RequestBuilder::OverwriteU32(std::size_t offset, std::uint32_t value) {
  assert(offset + 4 <= packet_.size());
  protocol::PutU32(packet_.data() + offset, value);
}

}  // namespace desktop
