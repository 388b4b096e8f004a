// The mail of a mirror: DIR/mail/ is a Maildir++ tree of the handheld's
// messages. The Inbox is the tree's root; Drafts, Sent Items, Outbox and
// every other folder (Deleted Items) are the subfolders .Drafts, .Sent,
// .Outbox and .Deleted, each with cur/, new/ and tmp/. Every message is one
// RFC 5322 file (MailFile) in cur/, written into tmp/ first and renamed into
// place; its name is a unique Maildir name kept for its record key, with
// the info ":2," or, for a read message, ":2,S".
//
// Mail goes from the handheld to the desktop: each run writes new and
// changed messages, moves a message whose folder or read state changed,
// and removes the files of messages the handheld no longer has. The names
// and content hashes live in DIR/mail/.vorn-mail.json. One way back: a
// message file dropped into DIR/mail/.Outbox/new/ is written to the
// handheld's Outbox at the start of the next run, its file removed, and the
// handheld's message then mirrored like any other. Nothing is created while
// the handheld has no mail and DIR/mail/ does not exist.
#ifndef VORN_DESKTOP_SYNC_MAIL_MIRROR_H_
#define VORN_DESKTOP_SYNC_MAIL_MIRROR_H_

#include <cstddef>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/mail_transfer.h"

namespace desktop {

struct MailMirrorSummary {
  std::size_t written = 0;  // messages new or changed on the desktop
  std::size_t unchanged = 0;
  std::size_t removed = 0;
  std::size_t sent = 0;  // dropped files written to the handheld
  // One line per dropped file that could not be sent (it stays in place).
  std::vector<std::string> problems;
};

class MailMirror {
 public:
  // The subfolder of `folder` below DIR/mail/ ("" for the Inbox).
  static std::string Subfolder(MailFolder folder);

  // Runs one mirror of the handheld's mail into `dir`/mail/ through
  // `transfer`. Fails when the conversation breaks or a file cannot be
  // written; what was done before stays done and recorded.
  static Result<MailMirrorSummary> Run(const std::string& dir,
                                       MailTransfer& transfer);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_MAIL_MIRROR_H_
