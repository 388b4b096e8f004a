// The handheld's older message store: its messages, kept as the records of
// the mail database "\PMAILDB" of the object store (so that the database's
// record count and a seek by OID see them), with every change reported to
// the change-log writer's mail log.
//
// A message record holds the store's own properties (ids below) and any
// further properties the message carries, which the library hands out as
// they are (its ordinal 56). Headers are kept as one text of
// "Name: value\r\n" lines; attachments as a counted list of the two strings
// of each (for messages added on the handheld: the attachment's name and the
// device path of its data).
//
// Storage only: nothing here checks handles or faults. The caller owns the
// transaction.
#ifndef VORN_DEVICE_MSGSTORE_MESSAGE_STORE_H_
#define VORN_DEVICE_MSGSTORE_MESSAGE_STORE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/status.h"
#include "device/objstore/record_value.h"
#include "platform/objstore_types.h"

namespace device {

class ChangeLogWriter;
class RecordTable;

// The mail database and the properties of its records.
inline constexpr std::u16string_view kMailDatabaseName = u"\\PMAILDB";
inline constexpr DWORD kMailDatabaseType = 0x50D0;
inline constexpr CEPROPID kMailFlagsProp = 0x01010013;        // CEVT_UI4
inline constexpr CEPROPID kMailThirdWordProp = 0x01020013;    // CEVT_UI4
inline constexpr CEPROPID kMailDateProp = 0x01030040;         // CEVT_FILETIME
inline constexpr CEPROPID kMailServiceProp = 0x0104001F;      // CEVT_LPWSTR
inline constexpr CEPROPID kMailHeadersProp = 0x0105001F;      // CEVT_LPWSTR
inline constexpr CEPROPID kMailBodyProp = 0x0106001F;         // CEVT_LPWSTR
inline constexpr CEPROPID kMailAttachmentsProp = 0x01070041;  // CEVT_BLOB
// Present on a message whose download is not complete; such messages stay
// out of synchronisation.
inline constexpr CEPROPID kMailPartialProp = 0x000B0012;  // CEVT_UI2

struct StoredAttachment {
  std::u16string first;
  std::u16string second;
};

struct StoredMessage {
  CEOID oid = 0;
  DWORD flags = 0;
  DWORD thirdWord = 0;
  std::uint64_t date = 0;  // FILETIME
  std::u16string service;
  std::u16string headers;
  std::u16string body;
  std::vector<StoredAttachment> attachments;
  // Every other property of the record.
  std::vector<RecordValue> further;
};

class MessageStore {
 public:
  // The table and the writer outlive the store.
  MessageStore(RecordTable& records, ChangeLogWriter& changeLog);
  MessageStore(const MessageStore&) = delete;
  MessageStore& operator=(const MessageStore&) = delete;

  // The OID of "\PMAILDB", created (without sort orders) when missing.
  CEOID Database();

  // Adds `message` (its oid is ignored) and logs it as added; returns the
  // new OID. Fails when the change cannot be logged (nothing is kept then
  // only if the caller rolls its transaction back).
  Result<CEOID> Add(const StoredMessage& message);
  // Replaces the message `message.oid` and logs it as changed; fails when
  // there is no such message.
  Status Update(const StoredMessage& message);
  // Deletes the message and logs it as deleted; fails when there is none.
  Status Delete(CEOID oid);
  // The message `oid`, or nullopt when no message of "\PMAILDB" has it.
  std::optional<StoredMessage> Read(CEOID oid);
  // Every message's OID in OID order.
  std::vector<CEOID> List();
  // The first message (in OID order) whose folder matches `folder` (0xFF:
  // any folder).
  std::optional<CEOID> First(BYTE folder);

 private:
  bool IsMessage(CEOID oid);
  CEOID Write(CEOID record, const StoredMessage& message);

  RecordTable& records_;
  ChangeLogWriter& changeLog_;
};

// The value of the header `name` (compared without regard to ASCII case)
// in a "Name: value\r\n" text; nullopt when the text lacks it.
std::optional<std::u16string> HeaderField(std::u16string_view headers,
                                          std::u16string_view name);
// `headers` with the field `name` set to `value` (its value replaced in
// place when present, the name's spelling kept; else appended).
std::u16string WithHeaderField(std::u16string_view headers,
                               std::u16string_view name,
                               std::u16string_view value);

// The attachment list as the record keeps it, and back (nullopt for bytes
// that are no such list).
std::vector<std::uint8_t> EncodeAttachments(
    const std::vector<StoredAttachment>& attachments);
std::optional<std::vector<StoredAttachment>> DecodeAttachments(
    const std::vector<std::uint8_t>& bytes);

}  // namespace device

#endif  // VORN_DEVICE_MSGSTORE_MESSAGE_STORE_H_
