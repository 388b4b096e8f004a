#include "desktop/transport/handheld_stream.h"

#include <string>

#include "protocol/wire.h"

namespace desktop {

Status HandheldStream::WriteFrame(std::span<const std::uint8_t> packet) {
  std::vector<std::uint8_t> frame(4 + packet.size());
  protocol::PutU32(frame.data(), static_cast<std::uint32_t>(packet.size()));
  std::copy(packet.begin(), packet.end(), frame.begin() + 4);
  return Write(frame);
}

Result<std::vector<std::uint8_t>> HandheldStream::ReadFrame() {
  std::uint8_t length_bytes[4];
  VORN_RETURN_IF_ERROR(ReadExact(length_bytes, sizeof length_bytes));
  std::uint32_t length = protocol::GetU32(length_bytes);
  if (length > kMaxReplyLength) {
    return Status::Error("handheld sent a reply frame of " +
                         std::to_string(length) + " bytes, too long");
  }
  std::vector<std::uint8_t> payload(length);
  VORN_RETURN_IF_ERROR(ReadExact(payload.data(), payload.size()));
  return payload;
}

Status HandheldStream::ReadExact(std::uint8_t* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    Result<std::size_t> got = ReadSome(buffer + done, size - done);
    if (!got.ok()) return got.status();
    if (*got == 0) return Status::Error("handheld closed the conversation");
    done += *got;
  }
  return Status::Ok();
}

}  // namespace desktop
