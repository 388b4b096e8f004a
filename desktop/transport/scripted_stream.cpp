#include "desktop/transport/scripted_stream.h"

#include <algorithm>

#include "protocol/wire.h"

namespace desktop {

void ScriptedStream::AddReply(const std::vector<std::uint8_t>& payload) {
  std::uint8_t length[4];
  protocol::PutU32(length, static_cast<std::uint32_t>(payload.size()));
  pending_.insert(pending_.end(), length, length + 4);
  pending_.insert(pending_.end(), payload.begin(), payload.end());
}

void ScriptedStream::AddRaw(const std::vector<std::uint8_t>& bytes) {
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
}

Status ScriptedStream::Write(std::span<const std::uint8_t> bytes) {
  if (closed_) return Status::Error("handheld stream is closed");
  written_.insert(written_.end(), bytes.begin(), bytes.end());
  return Status::Ok();
}

Result<std::size_t> ScriptedStream::ReadSome(std::uint8_t* buffer,
                                             std::size_t size) {
  if (closed_) return Status::Error("handheld stream is closed");
  // Hand out at most three bytes at a time so that readers must cope with
  // short reads.
  std::size_t n = std::min({size, pending_.size(), std::size_t{3}});
  for (std::size_t i = 0; i < n; ++i) {
    buffer[i] = pending_.front();
    pending_.pop_front();
  }
  return n;
}

Status ScriptedStream::Close() {
  closed_ = true;
  return Status::Ok();
}

std::vector<std::vector<std::uint8_t>> ScriptedStream::WrittenPackets() const {
  std::vector<std::vector<std::uint8_t>> packets;
  std::size_t at = 0;
  while (at + 4 <= written_.size()) {
    std::uint32_t length = protocol::GetU32(written_.data() + at);
    if (at + 4 + length > written_.size()) break;
    packets.emplace_back(written_.begin() + static_cast<long>(at + 4),
                         written_.begin() + static_cast<long>(at + 4 + length));
    at += 4 + length;
  }
  return packets;
}

}  // namespace desktop
