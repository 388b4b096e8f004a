// A byte stream to a handheld's agent and the framing spoken on it.
//
// Request frame: u32 packet length, then the packet. Reply frame: u32 reply
// length R, then R bytes. A stream that ends inside a reply frame yields an
// error ("handheld closed the conversation"), never a hang.
#ifndef VORN_DESKTOP_TRANSPORT_HANDHELD_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_HANDHELD_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "desktop/base/status.h"

namespace desktop {

class HandheldStream {
 public:
  // Reply frames longer than this are taken as garbage rather than
  // allocated: the agent's whole reply buffer is far smaller.
  static constexpr std::uint32_t kMaxReplyLength = 16u << 20;

  HandheldStream() = default;
  HandheldStream(const HandheldStream&) = delete;
  HandheldStream& operator=(const HandheldStream&) = delete;
  virtual ~HandheldStream() = default;

  // Writes every byte of `bytes`, or fails when the other end is gone.
  virtual Status Write(std::span<const std::uint8_t> bytes) = 0;

  // Reads at least one and at most `size` bytes into `buffer`. Returns 0 at
  // the end of the stream; fails on an error or when nothing arrived in time.
  virtual Result<std::size_t> ReadSome(std::uint8_t* buffer,
                                       std::size_t size) = 0;

  // Ends the stream from the desktop's side and releases what it holds.
  // Reports how the other end finished (for a child: its exit status).
  // Calling it again returns ok and does nothing.
  virtual Status Close() = 0;

  // Sends `packet` (command byte, data type byte, arguments) as one request
  // frame.
  Status WriteFrame(std::span<const std::uint8_t> packet);

  // Reads one reply frame and returns its R payload bytes.
  Result<std::vector<std::uint8_t>> ReadFrame();

 private:
  // Fills `size` bytes or fails; an early end of stream is an error.
  Status ReadExact(std::uint8_t* buffer, std::size_t size);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_HANDHELD_STREAM_H_
