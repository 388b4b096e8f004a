// WriteRecord of the MAPI mail handler: turns one incoming mail record into
// a MAPI message. The record is: u32 property count, u32 size (not used),
// u32 folder and read word, then the properties (docs/wire-format.md,
// "Mail records"). An existing message (record key not 0) is opened, a new
// one created, in the folder the word names:
//   existing: Drafts when bit 22 (0x400000) is set, else Sent Items when
//             word AND 252 is not 0, else the Inbox;
//   new:      Drafts when bit 22 is set, else Sent Items when word AND 255
//             equals 252, else the Inbox (so new Outbox messages land in
//             the Inbox; the asymmetry is kept).
// Subject, time, sender, read state, body and recipients are set and the
// message saved; its record key goes into bytes 2..5 of the write status;
// then the attachments are added from their device files, which are
// deleted. The bytes consumed are always reported as 0.
//
// When no message can be opened or created (no store, an unknown key) the
// record is not written: WriteRecord returns 0 and the status code is 3.
// Attachments whose device file cannot be opened are created empty.
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_WRITER_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_WRITER_H_

#include "agent/session/request_reader.h"
#include "platform/mapi.h"

namespace agent {

class CCEMail2;

class MailMessageWriter {
 public:
  explicit MailMessageWriter(CCEMail2& handler) : handler_(handler) {}
  MailMessageWriter(const MailMessageWriter&) = delete;
  MailMessageWriter& operator=(const MailMessageWriter&) = delete;

  int Write(RequestPtr data, DWORD& consumed, BYTE* status);

  static constexpr DWORD kCopyChunk = 1024;

 private:
  // Reads the record's fields into the handler; returns the folder word.
  DWORD ReadFields(RequestPtr data);
  IMessage* OpenOrCreate(DWORD key, DWORD word);
  void SetProperties(IMessage* message, DWORD word);
  void AddAttachments(IMessage* message);
  void FreeFields();

  CCEMail2& handler_;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_WRITER_H_
