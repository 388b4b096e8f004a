#include "desktop/transport/sync_counting_stream.h"

#include <algorithm>

namespace desktop {

Status SyncCountingStream::Write(std::span<const std::uint8_t> bytes) {
  if (cut_) return Status::Error("handheld closed the conversation");
  Status status = inner_.Write(bytes);
  if (status.ok()) written_ += bytes.size();
  return status;
}

Result<std::size_t> SyncCountingStream::ReadSome(std::uint8_t* buffer,
                                                 std::size_t size) {
  if (read_ >= cut_at_) {
    cut_ = true;
    return std::size_t{0};
  }
  std::uint64_t allowed = cut_at_ - read_;
  std::size_t ask =
      static_cast<std::size_t>(std::min<std::uint64_t>(size, allowed));
  Result<std::size_t> got = inner_.ReadSome(buffer, ask);
  if (got.ok()) read_ += *got;
  return got;
}

Status SyncCountingStream::Close() { return inner_.Close(); }

}  // namespace desktop
