// The handheld's default message store as it is kept in the device image:
// five folders, their messages, each message's properties, recipients and
// attachments, and the names of named properties.
//
// Tables (docs/device-image.md):
//   mapi_folders(folder, key)          the five folders and their keys
//   mapi_messages(key, folder)         one row per message
//   mapi_props(key, part, row, tag, value)
//       part 0: the message's own properties (row 0), part 1: recipient
//       `row`, part 2: attachment number `row`. Values are the property's
//       bytes: PT_LONG 4 bytes and PT_SYSTIME 8 bytes little-endian,
//       PT_UNICODE UTF-16LE without a terminator, PT_BINARY as they are.
//   mapi_names(name, id)               named properties of PS_PUBLIC_STRINGS
//
// Keys of folders and messages come from the object store's identifier
// space (DeviceImage::NewOid), so they are unique and never 0. An entry
// identifier is 16 bytes: 4 zero bytes, the u32 key, then the store's
// 8-byte signature "VornMAPI".
#ifndef VORN_DEVICE_MAPI_MAIL_STORE_H_
#define VORN_DEVICE_MAPI_MAIL_STORE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_image.h"
#include "platform/mapi.h"

namespace device {

// The five folders, in the order the handheld's store lists them.
enum class MailFolder { kDeleted = 1, kDrafts, kSent, kOutbox, kInbox };
inline constexpr int kMailFolderCount = 5;

struct MapiProp {
  ULONG tag = 0;
  std::vector<BYTE> value;
};
using PropList = std::vector<MapiProp>;

struct StoredMessage {
  DWORD key = 0;
  MailFolder folder = MailFolder::kInbox;
  PropList props;
  std::vector<PropList> recipients;
};

class MailStore {
 public:
  static constexpr ULONG kEntryIdSize = 16;
  static constexpr ULONG kFirstNamedId = 0x8000;

  // The image outlives the store. Creates the tables when missing.
  explicit MailStore(DeviceImage& image);
  MailStore(const MailStore&) = delete;
  MailStore& operator=(const MailStore&) = delete;

  // The key of a folder; given out on first use.
  DWORD FolderKey(MailFolder folder);
  // The folder whose key is `key`.
  std::optional<MailFolder> FolderOfKey(DWORD key);

  // Keys of the folder's messages in ascending order.
  std::vector<DWORD> MessageKeys(MailFolder folder);
  DWORD MessageCount(MailFolder folder);
  std::optional<StoredMessage> LoadMessage(DWORD key);
  // A key for a new message (nothing is stored yet).
  DWORD NewKey() { return image_.NewOid(); }
  // Stores the message's row, properties and recipients, replacing what
  // the key held; attachments are kept.
  void SaveMessage(const StoredMessage& message);
  // Removes the message with its recipients and attachments; false when
  // the key holds no message.
  bool DeleteMessage(DWORD key);

  // Numbers of the message's attachments, ascending.
  std::vector<ULONG> AttachmentNumbers(DWORD key);
  PropList LoadAttachment(DWORD key, ULONG number);
  void SaveAttachmentProp(DWORD key, ULONG number, const MapiProp& prop);

  // The property id of a named property of PS_PUBLIC_STRINGS; with
  // `create` a new name gets the next free id.
  std::optional<ULONG> NamedId(std::u16string_view name, bool create);

  static void MakeEntryId(DWORD key, BYTE (&out)[kEntryIdSize]);
  // The key of an entry identifier of this store; nullopt for anything else.
  static std::optional<DWORD> ParseEntryId(const BYTE* id, ULONG size);

  // Value helpers.
  static MapiProp Long(ULONG tag, DWORD value);
  static MapiProp Text(ULONG tag, std::u16string_view text);
  static MapiProp Time(ULONG tag, FILETIME time);
  static MapiProp Binary(ULONG tag, const BYTE* bytes, std::size_t size);
  static const MapiProp* Find(const PropList& props, ULONG tag);
  static void Put(PropList& props, MapiProp prop);
  static DWORD AsLong(const MapiProp& prop);
  static std::u16string AsText(const MapiProp& prop);

 private:
  PropList LoadProps(DWORD key, int part, ULONG row);
  void SaveProps(DWORD key, int part, ULONG row, const PropList& props);

  DeviceImage& image_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAIL_STORE_H_
