// Reads values out of one reply payload with every read checked against its
// end: a reply shorter than its contents claim yields an error value naming
// what was missing, never a read past the end.
#ifndef VORN_DESKTOP_WIRE_REPLY_READER_H_
#define VORN_DESKTOP_WIRE_REPLY_READER_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/time_record.h"

namespace desktop {

class ReplyReader {
 public:
  // Reads from `reply`, which must outlive the reader.
  explicit ReplyReader(std::span<const std::uint8_t> reply) : reply_(reply) {}

  Result<std::uint8_t> Byte(const char* what);
  Result<std::uint32_t> U32(const char* what);
  // A counted UTF-16LE string: u32 byte count n, n bytes. The text ends at
  // the first NUL; an odd count drops its last byte.
  Result<std::u16string> String(const char* what);
  Result<TimeRecord> Time(const char* what);
  Result<std::vector<std::uint8_t>> Bytes(std::size_t count, const char* what);
  // Moves past `count` bytes.
  Status Skip(std::size_t count, const char* what);

  std::size_t offset() const { return offset_; }
  std::size_t remaining() const { return reply_.size() - offset_; }
  bool AtEnd() const { return offset_ == reply_.size(); }

 private:
  Status Need(std::size_t count, const char* what) const;

  std::span<const std::uint8_t> reply_;
  std::size_t offset_ = 0;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_REPLY_READER_H_
