#include "desktop/wire/reply_reader.h"

#include "protocol/wire.h"

namespace desktop {

Status ReplyReader::Need(std::size_t count, const char* what) const {
  if (count <= remaining()) return Status::Ok();
  return Status::Error("reply too short: " + std::string(what) + " needs " +
                       std::to_string(count) + " bytes at offset " +
                       std::to_string(offset_) + ", " +
                       std::to_string(remaining()) + " left");
}

Result<std::uint8_t> ReplyReader::Byte(const char* what) {
  VORN_RETURN_IF_ERROR(Need(1, what));
  return reply_[offset_++];
}

Result<std::uint32_t> ReplyReader::U32(const char* what) {
  VORN_RETURN_IF_ERROR(Need(4, what));
  std::uint32_t value = protocol::GetU32(reply_.data() + offset_);
  offset_ += 4;
  return value;
}

Result<std::u16string> ReplyReader::String(const char* what) {
  Result<std::uint32_t> count = U32(what);
  if (!count.ok()) return count.status();
  Status need = Need(*count, what);
  if (!need.ok()) {
    offset_ -= 4;
    return need;
  }
  // The text ends at its first NUL or with the counted bytes.
  const std::uint8_t* at = reply_.data() + offset_;
  std::size_t length = 0;
  while (2 * length + 1 < *count && protocol::GetU16(at + 2 * length) != 0) {
    ++length;
  }
  std::u16string text(length, u'\0');
  for (std::size_t i = 0; i < length; ++i) {
    text[i] = static_cast<char16_t>(protocol::GetU16(at + 2 * i));
  }
  offset_ += *count;
  return text;
}

Result<TimeRecord> ReplyReader::Time(const char* what) {
  VORN_RETURN_IF_ERROR(Need(protocol::kTimeRecordSize, what));
  TimeRecord t = TimeRecord::Decode(reply_.data() + offset_);
  offset_ += protocol::kTimeRecordSize;
  return t;
}

Result<std::vector<std::uint8_t>> ReplyReader::Bytes(std::size_t count,
                                                     const char* what) {
  VORN_RETURN_IF_ERROR(Need(count, what));
  std::vector<std::uint8_t> out(
      reply_.begin() + static_cast<long>(offset_),
      reply_.begin() + static_cast<long>(offset_ + count));
  offset_ += count;
  return out;
}

Status ReplyReader::Skip(std::size_t count, const char* what) {
  VORN_RETURN_IF_ERROR(Need(count, what));
  offset_ += count;
  return Status::Ok();
}

}  // namespace desktop
