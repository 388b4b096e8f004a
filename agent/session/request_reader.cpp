#include "agent/session/request_reader.h"

#include <cstring>

#include "platform/fault.h"
#include "protocol/wire.h"

namespace agent {
namespace {

[[noreturn]] void PastEnd() {
  throw platform::Fault("request read past the end of its packet");
}

}  // namespace

RequestPtr RequestPtr::operator+(DWORD count) const {
  if (count > remaining()) PastEnd();
  return RequestPtr(at_ + count, end_);
}

const BYTE* RequestPtr::Bytes(DWORD offset, std::size_t size) const {
  if (offset > remaining() || size > remaining() - offset) PastEnd();
  return at_ + offset;
}

BYTE ReadByte(RequestPtr base, DWORD& offset) {
  BYTE value = *base.Bytes(offset, 1);
  offset += 1;
  return value;
}

DWORD ReadLong(RequestPtr base, DWORD& offset) {
  DWORD value = protocol::GetU32(base.Bytes(offset, 4));
  offset += 4;
  return value;
}

SYSTEMTIME* ReadTime(SYSTEMTIME* out, RequestPtr base, DWORD& offset,
                     int mode) {
  const BYTE* at = base.Bytes(offset, protocol::kTimeRecordSize);
  out->wYear = protocol::GetU16(at);
  out->wMonth = protocol::GetU16(at + 2);
  out->wDayOfWeek = protocol::GetU16(at + 4);
  out->wDay = protocol::GetU16(at + 6);
  out->wHour = protocol::GetU16(at + 8);
  out->wMinute = protocol::GetU16(at + 10);
  out->wSecond = protocol::GetU16(at + 12);
  out->wMilliseconds = protocol::GetU16(at + 14);
  if (mode == kReadTimeDateOnly) {
    out->wHour = 0;
    out->wMinute = 0;
    out->wSecond = 0;
  }
  offset += protocol::kTimeRecordSize;
  return out;
}

OwnedString ReadString(RequestPtr base, DWORD& offset) {
  DWORD size = ReadLong(base, offset);
  const BYTE* at = base.Bytes(offset, size);
  // n + 1 UTF-16 units: 2 × (n + 1) bytes, zero-filled.
  OwnedString text(new WCHAR[std::size_t{size} + 1]());
  // Byte-wise into the zeroed units, low byte first.
  for (DWORD i = 0; i < size; ++i) {
    std::size_t unit = i / 2;
    if (i % 2 == 0) {
      text[unit] = static_cast<WCHAR>(text[unit] | at[i]);
    } else {
      text[unit] = static_cast<WCHAR>(text[unit] | (at[i] << 8));
    }
  }
  offset += size;
  return text;
}

}  // namespace agent
