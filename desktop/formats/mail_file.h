// A mail message as an RFC 5322 file with MIME (GMime does the MIME work).
//
// Written: From, To, Cc, Bcc (the handheld's ";" lists as address lists),
// Subject (RFC 2047 encoded words when it is not ASCII), Date (UTC),
// Message-ID when the message has one; the body as a text/plain part in
// UTF-8; each attachment as an application/octet-stream part in base64
// with its file name; a message with attachments is multipart/mixed. Line
// ends are LF; CR LF in the body becomes LF. The body part always ends with
// a line feed that is not the body's own (Read drops one final line feed).
// Read: the same headers; the body is the first text/plain part that is no
// attachment; every other leaf part with a file name or an attachment
// disposition is an attachment (its bytes decoded). The folder and the
// read state are not part of the file.
#ifndef VORN_DESKTOP_FORMATS_MAIL_FILE_H_
#define VORN_DESKTOP_FORMATS_MAIL_FILE_H_

#include <string>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/formats/mail_message.h"

namespace desktop {

class MailFile {
 public:
  static std::string Write(const MailMessage& message);
  // Fails when `text` is no message at all.
  static Result<MailMessage> Read(std::string_view text);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_MAIL_FILE_H_
