// The handheld user's mail in the older message store, as the user adds,
// lists and removes it on the handheld (the device-level API behind the
// command line's mail command for handhelds without MAPI).
//
// Each change goes through MessageStore and so into the mail change log.
// An attachment's bytes become a file "\Mail Attachments\OID-N.att" of the
// handheld; the message names it by its attachment name (the first string)
// and that path (the second). The caller owns the transaction: a failed
// call may have written part of its change.
#ifndef VORN_DEVICE_MSGSTORE_STORE_MAIL_H_
#define VORN_DEVICE_MSGSTORE_STORE_MAIL_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_context.h"
#include "device/image/status.h"
#include "device/msgstore/message_store.h"

namespace device {

class FileSystem;

struct StoreMailAttachment {
  std::u16string name;
  // Set by List: where the bytes are on the handheld (empty when the
  // message names no file).
  std::u16string devicePath;
  std::vector<std::uint8_t> bytes;
};

struct StoreMailMessage {
  CEOID oid = 0;  // set by List
  // "inbox", "drafts", "sent", "outbox" or "deleted".
  std::string folder = "inbox";
  std::u16string from;
  std::u16string to;
  std::u16string cc;
  std::u16string bcc;
  std::u16string subject;
  std::u16string body;
  std::vector<StoreMailAttachment> attachments;
  bool read = false;
  // The message date, a FILETIME in UTC.
  std::uint64_t time = 0;
  // Further properties of the message, handed out as they are.
  std::vector<RecordValue> further;
};

class StoreMail {
 public:
  // The folder where attachment files are written.
  static constexpr std::u16string_view kAttachmentFolder =
      u"\\Mail Attachments";

  // Everything given outlives the object.
  StoreMail(DeviceContext& context, MessageStore& store, FileSystem& files);
  StoreMail(const StoreMail&) = delete;
  StoreMail& operator=(const StoreMail&) = delete;

  // Adds a message and returns its OID. Fails for an unknown folder, a
  // header value with a line break, or when a file cannot be written.
  Result<CEOID> Add(const StoreMailMessage& message);
  // Every message in OID order, with its attachments' bytes.
  std::vector<StoreMailMessage> List();
  // Removes the message and the attachment files this API wrote for it.
  // Fails when there is no such message.
  Status Remove(CEOID oid);

  // The folder byte of a folder name; nullopt for an unknown name.
  static std::optional<BYTE> FolderByte(std::string_view folder);
  static std::string FolderName(BYTE folder);

 private:
  Status WriteFile(const std::u16string& path,
                   const std::vector<std::uint8_t>& bytes);
  std::vector<std::uint8_t> ReadFile(const std::u16string& path);

  DeviceContext& context_;
  MessageStore& store_;
  FileSystem& files_;
};

}  // namespace device

#endif  // VORN_DEVICE_MSGSTORE_STORE_MAIL_H_
