// A HandheldStream that passes every call through to another stream and
// counts the bytes in each direction. The sync engine reports the bytes it
// received from it. For tests it can also cut the conversation: once a set
// number of bytes has been read, it behaves as a stream the handheld closed.
#ifndef VORN_DESKTOP_TRANSPORT_SYNC_COUNTING_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_SYNC_COUNTING_STREAM_H_

#include <cstdint>
#include <limits>

#include "desktop/transport/handheld_stream.h"

namespace desktop {

class SyncCountingStream : public HandheldStream {
 public:
  // Wraps `inner`, which must outlive this object and is closed by Close().
  explicit SyncCountingStream(HandheldStream& inner) : inner_(inner) {}

  Status Write(std::span<const std::uint8_t> bytes) override;
  // Reads from the inner stream; after the cut (see CutAfter) it returns
  // the end of the stream without reading further.
  Result<std::size_t> ReadSome(std::uint8_t* buffer, std::size_t size) override;
  Status Close() override;

  // Makes the stream end after `bytes` more bytes were read in total (the
  // count includes what was read so far). Writes fail after the cut.
  void CutAfter(std::uint64_t bytes) { cut_at_ = bytes; }
  // True once the cut took effect.
  bool cut() const { return cut_; }

  std::uint64_t bytes_read() const { return read_; }
  std::uint64_t bytes_written() const { return written_; }

 private:
  HandheldStream& inner_;
  std::uint64_t read_ = 0;
  std::uint64_t written_ = 0;
  std::uint64_t cut_at_ = std::numeric_limits<std::uint64_t>::max();
  bool cut_ = false;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_SYNC_COUNTING_STREAM_H_
