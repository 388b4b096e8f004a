// Mail between the desktop and a handheld over one conversation: which of
// the two mail stores the handheld keeps, fetching messages with their
// attachments' bytes, and writing messages with theirs.
//
// Attachments travel through device files. The handheld's agent copies each
// attachment of a message it sends into a temporary file and names that file
// in the record; the desktop reads it with ReadFileData. To write a message
// with attachments the desktop first puts each attachment's bytes into a new
// device file with WriteFileData ("\vorn-mail-N.tmp", N the first number
// whose file does not exist yet) and names those files in the record; the
// messaging store's agent moves them into the message and deletes them.
// The conversation has no command that deletes a device file, so the
// temporary files of messages read stay on the handheld.
#ifndef VORN_DESKTOP_FORMATS_MAIL_TRANSFER_H_
#define VORN_DESKTOP_FORMATS_MAIL_TRANSFER_H_

#include <cstdint>
#include <span>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/mail_message.h"
#include "desktop/formats/mail_record.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

struct FetchedMail {
  std::vector<MailMessage> messages;   // in the order asked for
  std::vector<std::uint32_t> missing;  // keys the handheld does not have
};

class MailTransfer {
 public:
  // Uses `client` for the conversation; `clock` is the handheld's zone.
  MailTransfer(HandheldClient& client, MailClock clock)
      : client_(client), clock_(std::move(clock)) {}

  // Asks the handheld which store it keeps (CheckOsVersion); remembered.
  Result<MailStore> Store();

  // The record keys of every message (GetAllRecords).
  Result<std::vector<std::uint32_t>> Keys();

  // The messages of `keys`, each attachment with its bytes (`attachments`
  // false: names only). Fails when the conversation breaks, a record cannot
  // be decoded or an attachment's device file cannot be read.
  Result<FetchedMail> Fetch(std::span<const std::uint32_t> keys,
                            bool attachments = true);

  // Writes `message` as a new message (its key is not used) and returns the
  // handheld's answer, whose oid is the new record key.
  Result<WriteStatus> Add(const MailMessage& message);

  // Reads a whole device file.
  Result<std::vector<std::uint8_t>> ReadDeviceFile(std::u16string_view path);
  // Puts `data` into a new device file and returns its name.
  Result<std::u16string> WriteNewDeviceFile(std::span<const std::uint8_t> data);

 private:
  HandheldClient& client_;
  MailClock clock_;
  std::optional<MailStore> store_;
  std::uint32_t next_file_ = 1;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_MAIL_TRANSFER_H_
