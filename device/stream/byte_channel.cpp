#include "device/stream/byte_channel.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

namespace device {

Result<std::size_t> FdChannel::ReadSome(std::span<std::uint8_t> buffer) {
  if (buffer.empty()) return std::size_t{0};
  while (true) {
    ssize_t got = ::read(readFd_, buffer.data(), buffer.size());
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno == EINTR) continue;
    if (errno == ECONNRESET) return std::size_t{0};
    return Status::Error(std::string("stream read failed: ") +
                         std::strerror(errno));
  }
}

Status FdChannel::WriteAll(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    ssize_t put = ::write(writeFd_, bytes.data(), bytes.size());
    if (put < 0) {
      if (errno == EINTR) continue;
      return Status::Error(std::string("stream write failed: ") +
                           std::strerror(errno));
    }
    bytes = bytes.subspan(static_cast<std::size_t>(put));
  }
  return Status::Ok();
}

Result<std::size_t> MemoryChannel::ReadSome(std::span<std::uint8_t> buffer) {
  std::size_t count = std::min(buffer.size(), input_.size() - position_);
  std::copy_n(input_.begin() + static_cast<std::ptrdiff_t>(position_), count,
              buffer.begin());
  position_ += count;
  return count;
}

Status MemoryChannel::WriteAll(std::span<const std::uint8_t> bytes) {
  output_.insert(output_.end(), bytes.begin(), bytes.end());
  return Status::Ok();
}

}  // namespace device
