#include "agent/session/reply_writer.h"

#include <cstring>

#include "platform/api.h"
#include "platform/fault.h"

namespace agent {
namespace {

std::size_t TextBytes(LPCWSTR text) {
  // A missing text is written as the empty string.
  return 2 * ((text == nullptr ? 0 : wcslen(text)) + 1);
}

void PutText(BYTE* at, LPCWSTR text, std::size_t bytes) {
  for (std::size_t i = 0; i + 1 < bytes; i += 2) {
    WCHAR unit = text == nullptr ? 0 : text[i / 2];
    protocol::PutU16(at + i, unit);
  }
  protocol::PutU16(at + bytes - 2, 0);
}

}  // namespace

BYTE* ReplyWriter::Reserve(std::size_t size) {
  if (reply == nullptr || replyLength > protocol::kReplyBufferSize ||
      size > protocol::kReplyBufferSize - replyLength) {
    throw platform::Fault("reply written past the end of the reply buffer");
  }
  BYTE* at = reply + replyLength;
  replyLength += static_cast<DWORD>(size);
  return at;
}

bool ReplyWriter::FitsSoftLimit(std::size_t textBytes) const {
  return std::size_t{replyLength} + textBytes < protocol::kSoftLimit + 1;
}

int ReplyWriter::WriteByte(BYTE value) {
  *Reserve(1) = value;
  return 1;
}

int ReplyWriter::WriteLong(DWORD value) {
  protocol::PutU32(Reserve(4), value);
  return 1;
}

int ReplyWriter::WritePropLong(DWORD id, DWORD value) {
  BYTE* at = Reserve(8);
  protocol::PutU32(at, id);
  protocol::PutU32(at + 4, value);
  CountProperty();
  return 1;
}

int ReplyWriter::WritePropString(DWORD id, LPCWSTR text) {
  std::size_t bytes = TextBytes(text);
  if (!FitsSoftLimit(bytes)) {
    overflow = 1;
    return 0;
  }
  BYTE* at = Reserve(8 + bytes);
  protocol::PutU32(at, id);
  protocol::PutU32(at + 4, static_cast<DWORD>(bytes));
  PutText(at + 8, text, bytes);
  CountProperty();
  return 1;
}

int ReplyWriter::WriteString(LPCWSTR text) {
  std::size_t bytes = TextBytes(text);
  if (!FitsSoftLimit(bytes)) {
    overflow = 1;
    return 0;
  }
  BYTE* at = Reserve(4 + bytes);
  protocol::PutU32(at, static_cast<DWORD>(bytes));
  PutText(at + 4, text, bytes);
  return 1;
}

int ReplyWriter::WritePropTime(DWORD id, DWORD w0, DWORD w1, DWORD w2,
                               DWORD w3) {
  BYTE* at = Reserve(4 + protocol::kTimeRecordSize);
  protocol::PutU32(at, id);
  protocol::PutU32(at + 4, w0);
  protocol::PutU32(at + 8, w1);
  protocol::PutU32(at + 12, w2);
  protocol::PutU32(at + 16, w3);
  CountProperty();
  return 1;
}

int ReplyWriter::WritePropTime(DWORD id, const SYSTEMTIME& time) {
  DWORD words[4];
  TimeToWords(time, words);
  return WritePropTime(id, words[0], words[1], words[2], words[3]);
}

int ReplyWriter::WritePropBlob(DWORD id, const BYTE* block) {
  BYTE* at = Reserve(4 + protocol::kRecurrenceBlockSize);
  protocol::PutU32(at, id);
  std::memcpy(at + 4, block, protocol::kRecurrenceBlockSize);
  CountProperty();
  return 1;
}

void ReplyWriter::PutAt(DWORD offset, const BYTE* bytes, std::size_t size) {
  if (reply == nullptr || offset > protocol::kReplyBufferSize ||
      size > protocol::kReplyBufferSize - offset) {
    throw platform::Fault("reply written past the end of the reply buffer");
  }
  std::memcpy(reply + offset, bytes, size);
}

void ReplyWriter::Append(const BYTE* bytes, std::size_t size) {
  if (size == 0) return;
  std::memcpy(Reserve(size), bytes, size);
}

void TimeToWords(const SYSTEMTIME& time, DWORD words[4]) {
  words[0] = time.wYear | (DWORD{time.wMonth} << 16);
  words[1] = time.wDayOfWeek | (DWORD{time.wDay} << 16);
  words[2] = time.wHour | (DWORD{time.wMinute} << 16);
  words[3] = time.wSecond | (DWORD{time.wMilliseconds} << 16);
}

}  // namespace agent
