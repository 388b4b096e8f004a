// The byte pipes a conversation runs over: the desktop's end of the remote
// API stream. FdChannel reads one file descriptor and writes another (a
// pipe pair or the two directions of a socket); MemoryChannel serves a
// fixed input and collects the output (tests, fuzzing).
#ifndef VORN_DEVICE_STREAM_BYTE_CHANNEL_H_
#define VORN_DEVICE_STREAM_BYTE_CHANNEL_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "device/image/status.h"

namespace device {

class ByteChannel {
 public:
  ByteChannel() = default;
  ByteChannel(const ByteChannel&) = delete;
  ByteChannel& operator=(const ByteChannel&) = delete;
  virtual ~ByteChannel() = default;

  // Waits for at least one byte and reads up to `buffer.size()` bytes.
  // Returns how many were read; 0 when the other end has closed (or when
  // `buffer` is empty). Fails when the channel broke.
  virtual Result<std::size_t> ReadSome(std::span<std::uint8_t> buffer) = 0;
  // Writes every byte of `bytes`; fails when the other end has gone.
  virtual Status WriteAll(std::span<const std::uint8_t> bytes) = 0;
};

class FdChannel final : public ByteChannel {
 public:
  // Reads `readFd` and writes `writeFd` (they may be the same socket).
  // The descriptors stay open and owned by the caller. Writing to a closed
  // pipe or socket raises SIGPIPE unless the program ignores it.
  FdChannel(int readFd, int writeFd) : readFd_(readFd), writeFd_(writeFd) {}

  Result<std::size_t> ReadSome(std::span<std::uint8_t> buffer) override;
  Status WriteAll(std::span<const std::uint8_t> bytes) override;

 private:
  int readFd_;
  int writeFd_;
};

class MemoryChannel final : public ByteChannel {
 public:
  // Serves `input` (then reports the end) and keeps everything written.
  explicit MemoryChannel(std::vector<std::uint8_t> input)
      : input_(std::move(input)) {}

  Result<std::size_t> ReadSome(std::span<std::uint8_t> buffer) override;
  Status WriteAll(std::span<const std::uint8_t> bytes) override;

  const std::vector<std::uint8_t>& output() const { return output_; }
  // Bytes of the input not read yet.
  std::size_t remaining() const { return input_.size() - position_; }

 private:
  std::vector<std::uint8_t> input_;
  std::size_t position_ = 0;
  std::vector<std::uint8_t> output_;
};

}  // namespace device

#endif  // VORN_DEVICE_STREAM_BYTE_CHANNEL_H_
