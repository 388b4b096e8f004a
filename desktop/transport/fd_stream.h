// A HandheldStream over POSIX file descriptors: one to read, one to write
// (the same descriptor for a socket). Reads wait at most a set time.
#ifndef VORN_DESKTOP_TRANSPORT_FD_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_FD_STREAM_H_

#include "desktop/transport/handheld_stream.h"

namespace desktop {

class FdStream : public HandheldStream {
 public:
  // How long a read waits for the handheld by default.
  static constexpr int kDefaultTimeoutMs = 120'000;

  // Takes ownership of both descriptors (which may be equal).
  FdStream(int read_fd, int write_fd);
  ~FdStream() override;

  Status Write(std::span<const std::uint8_t> bytes) override;
  Result<std::size_t> ReadSome(std::uint8_t* buffer, std::size_t size) override;
  Status Close() override;

  // Sets how long ReadSome waits for data; a negative value waits forever.
  void set_timeout_ms(int timeout_ms) { timeout_ms_ = timeout_ms; }

 protected:
  // Closes the descriptors; safe to call more than once.
  void CloseDescriptors();
  // Closes only the writing side, so that the other end sees the end.
  void CloseWriteSide();

 private:
  int read_fd_;
  int write_fd_;
  int timeout_ms_ = kDefaultTimeoutMs;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_FD_STREAM_H_
