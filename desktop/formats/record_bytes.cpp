#include "desktop/formats/record_bytes.h"

#include "protocol/wire.h"

namespace desktop {

RecordBytes::RecordBytes(bool reply, std::uint32_t oid) : reply_(reply) {
  if (reply_) {
    bytes_ = {1, 0, 0, 0, 0, 0, 0};
    protocol::PutU32(bytes_.data() + 2, oid);
  } else {
    bytes_.resize(4);
  }
}

void RecordBytes::Id(std::uint32_t id) {
  RawU32(id);
  ++count_;
}

RecordBytes& RecordBytes::Long(std::uint32_t id, std::uint32_t value) {
  Id(id);
  return RawU32(value);
}

RecordBytes& RecordBytes::Text(std::uint32_t id, std::u16string_view text) {
  Id(id);
  return RawString(text);
}

RecordBytes& RecordBytes::Time(std::uint32_t id, const TimeRecord& time) {
  Id(id);
  auto bytes = time.Encode();
  return Raw(bytes);
}

RecordBytes& RecordBytes::Blob(std::uint32_t id,
                               std::span<const std::uint8_t> bytes) {
  Id(id);
  return Raw(bytes);
}

RecordBytes& RecordBytes::Raw(std::span<const std::uint8_t> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

RecordBytes& RecordBytes::RawU32(std::uint32_t value) {
  std::uint8_t word[4];
  protocol::PutU32(word, value);
  bytes_.insert(bytes_.end(), word, word + 4);
  return *this;
}

RecordBytes& RecordBytes::RawString(std::u16string_view text) {
  RawU32(static_cast<std::uint32_t>(2 * (text.size() + 1)));
  for (char16_t c : text) {
    bytes_.push_back(static_cast<std::uint8_t>(c));
    bytes_.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  bytes_.push_back(0);
  bytes_.push_back(0);
  return *this;
}

std::vector<std::uint8_t> RecordBytes::Take() {
  if (reply_) {
    bytes_[6] = static_cast<std::uint8_t>(count_);
  } else {
    protocol::PutU32(bytes_.data(), count_);
  }
  return std::move(bytes_);
}

}  // namespace desktop
