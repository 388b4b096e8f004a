// The handheld user's own mail edits (vorn-device mail, tests): messages
// added to and removed from the default store through the same objects the
// agent uses, so every change reaches the change hook (the mail log).
#ifndef VORN_DEVICE_MAPI_MAIL_EDITOR_H_
#define VORN_DEVICE_MAPI_MAIL_EDITOR_H_

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "device/image/status.h"
#include "device/mapi/mail_store.h"

namespace device {

class Mapi;

struct NewMailAttachment {
  std::u16string fileName;
  std::vector<BYTE> bytes;
};

struct NewMail {
  MailFolder folder = MailFolder::kInbox;
  std::optional<std::u16string> from;
  std::vector<std::u16string> to;
  std::vector<std::u16string> cc;
  std::vector<std::u16string> bcc;
  std::optional<std::u16string> subject;
  std::optional<std::u16string> body;
  std::vector<NewMailAttachment> attachments;
  bool read = false;
  // The delivery time (UTC).
  std::optional<FILETIME> time;
};

struct MailSummary {
  DWORD key = 0;
  MailFolder folder = MailFolder::kInbox;
  std::u16string from;
  std::u16string subject;
  bool read = false;
  std::size_t recipients = 0;
  std::size_t attachments = 0;
};

class MailEditor {
 public:
  explicit MailEditor(Mapi& mapi) : mapi_(mapi) {}

  // The new message's record key.
  Result<DWORD> Add(const NewMail& mail);
  // Every message of the five folders, by folder then key.
  std::vector<MailSummary> List();
  // Fails for a key that names no message.
  Status Remove(DWORD key);

 private:
  Mapi& mapi_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAIL_EDITOR_H_
