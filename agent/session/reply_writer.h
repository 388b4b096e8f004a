// Writers that append values to the session's reply buffer, with the reply's
// soft limit and overflow flag. The record handler derives from this class:
// its fields are the handler's reply state.
//
// Every writer appends at replyLength and advances it. Only the two string
// writers check the soft limit: they write only when the text would end at
// or before protocol::kSoftLimit (the record's id and count bytes are not
// counted), otherwise they write nothing, set `overflow` and return 0. The
// other writers never check it. A write that would pass the end of the
// buffer itself is a fault (on the handheld it would run over the heap).
#ifndef VORN_AGENT_SESSION_REPLY_WRITER_H_
#define VORN_AGENT_SESSION_REPLY_WRITER_H_

#include <cstddef>

#include "platform/types.h"
#include "protocol/wire.h"

namespace agent {

class ReplyWriter {
 public:
  ReplyWriter() = default;
  ReplyWriter(const ReplyWriter&) = delete;
  ReplyWriter& operator=(const ReplyWriter&) = delete;

  int WriteByte(BYTE value);
  int WriteLong(DWORD value);
  int WritePropLong(DWORD id, DWORD value);
  int WritePropString(DWORD id, LPCWSTR text);
  int WriteString(LPCWSTR text);
  // The time record is given as its four 32-bit words (bytes 0-3, 4-7,
  // 8-11 and 12-15 of the record, little-endian).
  int WritePropTime(DWORD id, DWORD w0, DWORD w1, DWORD w2, DWORD w3);
  int WritePropTime(DWORD id, const SYSTEMTIME& time);
  // Copies the 98-byte block as it stands.
  int WritePropBlob(DWORD id, const BYTE* block);

  // Copies `size` bytes to an absolute place in the reply without moving
  // replyLength (the list header and write status are written this way).
  void PutAt(DWORD offset, const BYTE* bytes, std::size_t size);
  // Appends raw bytes.
  void Append(const BYTE* bytes, std::size_t size);

  BYTE propCount() const { return header[6]; }

  // The session's reply buffer (protocol::kReplyBufferSize bytes).
  BYTE* reply = nullptr;
  // Write offset into `reply`; also the reply length the loop sends.
  DWORD replyLength = 0;
  // The list header state: complete, failed, u32 count, propCount.
  BYTE header[protocol::kListHeaderSize] = {};
  // Set to 1 by a string writer that refused to write.
  DWORD overflow = 0;

 protected:
  ~ReplyWriter() = default;

 private:
  BYTE* Reserve(std::size_t size);
  void CountProperty() { header[6] = static_cast<BYTE>(header[6] + 1); }
  bool FitsSoftLimit(std::size_t textBytes) const;
};

// The record of a SYSTEMTIME as four little-endian words.
void TimeToWords(const SYSTEMTIME& time, DWORD words[4]);

}  // namespace agent

#endif  // VORN_AGENT_SESSION_REPLY_WRITER_H_
