// ReadRecord of the MAPI mail handler: appends one message, named by its
// record key, to the reply: the 7-byte record header, the message's
// properties, its recipients as three address lists, its body and its
// attachments, which are copied out into temporary device files whose
// names go into the reply. The wire layout is in docs/wire-format.md
// ("Mail records").
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_ENCODER_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_ENCODER_H_

#include <string>

#include "platform/mapi.h"

namespace agent {

class CCEMail2;

class MailMessageEncoder {
 public:
  explicit MailMessageEncoder(CCEMail2& handler) : handler_(handler) {}
  MailMessageEncoder(const MailMessageEncoder&) = delete;
  MailMessageEncoder& operator=(const MailMessageEncoder&) = delete;

  // 1 when the record was written; 0 when the key is not in the message
  // index (only the 7 header bytes were copied).
  int Encode(DWORD key);

  // The folder and read word of a message: the folder code of its parent
  // (Drafts 0x400000, Sent Items 252, Inbox 254, Outbox 253, other 0), OR
  // 0x100000 when it has been read.
  DWORD FolderWord(DWORD parentKey, DWORD messageFlags) const;

 private:
  // The tag of the named property "PR_SPLUS_WHERE" (PT_UNICODE); 0 when
  // the lookup fails.
  ULONG NamedTag();
  void WriteProperties(IMessage* message, DWORD parentKey);
  void WriteTime(DWORD id, FILETIME time);
  void WriteBody(IMessage* message);
  void WriteRecipients(IMessage* message);
  void WriteAttachments(IMessage* message);
  // Copies one attachment into a new temporary file and appends
  // "TEMPNAME\nFILENAME\n" to `list`; the first failing HRESULT or S_OK.
  HRESULT ExportAttachment(IAttach* attach, std::u16string& list);

  CCEMail2& handler_;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_MESSAGE_ENCODER_H_
