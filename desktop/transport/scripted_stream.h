// A HandheldStream for tests: it serves reply bytes given in advance and
// keeps every byte written to it. When the script runs out, reads see the
// end of the stream.
#ifndef VORN_DESKTOP_TRANSPORT_SCRIPTED_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_SCRIPTED_STREAM_H_

#include <cstdint>
#include <deque>
#include <vector>

#include "desktop/transport/handheld_stream.h"

namespace desktop {

class ScriptedStream : public HandheldStream {
 public:
  // Queues one reply frame: u32 length, then `payload`.
  void AddReply(const std::vector<std::uint8_t>& payload);
  // Queues raw bytes, e.g. a frame cut short.
  void AddRaw(const std::vector<std::uint8_t>& bytes);

  Status Write(std::span<const std::uint8_t> bytes) override;
  Result<std::size_t> ReadSome(std::uint8_t* buffer, std::size_t size) override;
  Status Close() override;

  // Everything written so far, frames included.
  const std::vector<std::uint8_t>& written() const { return written_; }
  // The packets written so far, with their length prefixes removed. A
  // trailing partial frame is left out.
  std::vector<std::vector<std::uint8_t>> WrittenPackets() const;
  bool closed() const { return closed_; }

 private:
  std::deque<std::uint8_t> pending_;
  std::vector<std::uint8_t> written_;
  bool closed_ = false;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_SCRIPTED_STREAM_H_
