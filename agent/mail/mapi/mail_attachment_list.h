// The attachment list of an incoming mail record (field 8): a UTF-16 text
// of decimal numbers and counted texts, each number followed by exactly
// one separator character that is skipped unread:
//   COUNT sep { NAMELEN sep NAME DISPLAYLEN sep DISPLAY } × COUNT
// NAME is the device file that holds the attachment's bytes, DISPLAY the
// attachment's file name; each is taken as exactly that many units (no
// terminator) and cut to 259 units. Numbers are read as the handheld's
// wcstol reads them (leading spaces, a sign, decimal digits).
//
// Parsing never reads past the text: a number or text that runs past the
// end is what is left of it, and attachments that would start at the end
// of the text are not listed (a count larger than the text describes).
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_ATTACHMENT_LIST_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_ATTACHMENT_LIST_H_

#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace agent {

struct IncomingAttachment {
  std::u16string deviceFile;
  std::u16string displayName;
};

class MailAttachmentList {
 public:
  static constexpr std::size_t kMaxText = 259;

  static std::vector<IncomingAttachment> Parse(std::u16string_view text);

 private:
  explicit MailAttachmentList(std::u16string_view text) : text_(text) {}
  // A number and the separator after it.
  LONG Number();
  std::u16string Text(LONG length);
  bool AtEnd() const { return at_ >= text_.size(); }

  std::u16string_view text_;
  std::size_t at_ = 0;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_ATTACHMENT_LIST_H_
