// Readers that take values out of a request packet.
//
// A reader is given a position in the packet (RequestPtr) and an offset
// variable owned by the calling operation; it reads at position + offset and
// advances the offset. Integers are little-endian and unaligned. A read that
// would pass the end of the packet is a fault: the packet carries no other
// way to notice that it is shorter than its contents claim, and on the
// handheld such a read ends the conversation the way a fault does.
#ifndef VORN_AGENT_SESSION_REQUEST_READER_H_
#define VORN_AGENT_SESSION_REQUEST_READER_H_

#include <cstddef>
#include <memory>

#include "platform/types.h"

namespace agent {

// A position inside one packet, with the packet's end. Operations move it
// forward by what they consumed (request + consumed).
class RequestPtr {
 public:
  RequestPtr() = default;
  RequestPtr(const BYTE* at, const BYTE* end) : at_(at), end_(end) {}

  // The position `count` bytes further on; a fault past the packet's end.
  RequestPtr operator+(DWORD count) const;
  RequestPtr& operator+=(DWORD count) { return *this = *this + count; }

  // The `size` bytes at offset `offset`; a fault when they pass the end.
  const BYTE* Bytes(DWORD offset, std::size_t size) const;
  std::size_t remaining() const { return static_cast<std::size_t>(end_ - at_); }

 private:
  const BYTE* at_ = nullptr;
  const BYTE* end_ = nullptr;
};

// A string read from a packet: UTF-16, always NUL-terminated. Owned by the
// operation that read it.
using OwnedString = std::unique_ptr<WCHAR[]>;

BYTE ReadByte(RequestPtr base, DWORD& offset);
DWORD ReadLong(RequestPtr base, DWORD& offset);

// Reads a 16-byte time record into `out` and returns `out`. With mode 2 (a
// date-only read) hour, minute and second become 0 while the milliseconds
// keep the value sent; any other mode copies all 16 bytes.
SYSTEMTIME* ReadTime(SYSTEMTIME* out, RequestPtr base, DWORD& offset, int mode);
inline constexpr int kReadTimeDateOnly = 2;

// Reads a u32 byte count n and n bytes. The result has room for
// 2 × (n + 1) bytes, zero-filled, with the n bytes copied to its start, so a
// UTF-16 NUL follows whatever was sent, even an odd n.
OwnedString ReadString(RequestPtr base, DWORD& offset);

}  // namespace agent

#endif  // VORN_AGENT_SESSION_REQUEST_READER_H_
