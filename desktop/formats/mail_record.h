// The mail record in its two wire forms, for both of the handheld's mail
// stores (the messaging store of newer handhelds, the older message store).
//
// Read from the handheld (GetRecord, GetRecords): the record header, then
// properties, each sent only when the message has it:
//   1 from, 2 to, 3 cc, 4 bcc, 5 subject (strings; lists joined by ";")
//   6 time: the messaging store sends local time, the older store the
//     stored time as it stands (UTC)
//   7 body, 8 attachment list: per attachment the device file that holds
//     its bytes, LF, its file name, LF
//   10 u32 (older store), 11 u32 folder and read word, 13 Message-ID
//   (older store), 14 u32, 15 string, 16 and 17 local times
// Written to the handheld (AddRecord, UpdateRecord, BatchWrite): u32
// property count, u32 size of the properties in bytes, u32 folder and read
// word, then per property u32 id and value: 1-5 and 7 strings, 6 local
// time, 8 attachment list, 13 Message-ID. The written attachment list is
// counted: "N " then per attachment its two strings in the order of the
// store ("LEN TEXT" each), each number followed by one separator (a
// space); lengths in UTF-16 units.
// The folder and read word: the messaging store's as in mail_message.h; the
// older store keeps the folder in the low byte (0xFE Inbox, 0xFD Outbox,
// 0xFC Sent Items, 0xFB Drafts, 0xFA Deleted Items) and the read mark as
// 0x10000.
// Ids 11 and 12 carry no value when written, so they are never sent.
#ifndef VORN_DESKTOP_FORMATS_MAIL_RECORD_H_
#define VORN_DESKTOP_FORMATS_MAIL_RECORD_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/mail_message.h"
#include "desktop/wire/wire_record.h"

namespace desktop {

enum class MailStore { kMapi, kMessageStore };

class MailRecord {
 public:
  static constexpr std::uint32_t kFrom = 1;
  static constexpr std::uint32_t kTo = 2;
  static constexpr std::uint32_t kCc = 3;
  static constexpr std::uint32_t kBcc = 4;
  static constexpr std::uint32_t kSubject = 5;
  static constexpr std::uint32_t kTime = 6;
  static constexpr std::uint32_t kBody = 7;
  static constexpr std::uint32_t kAttachments = 8;
  static constexpr std::uint32_t kTimeAgain = 9;
  static constexpr std::uint32_t kStoreWord = 10;
  static constexpr std::uint32_t kFolderWord = 11;
  static constexpr std::uint32_t kMessageId = 13;
  static constexpr std::uint32_t kHasWhere = 14;
  static constexpr std::uint32_t kWhere = 15;
  static constexpr std::uint32_t kStart = 16;
  static constexpr std::uint32_t kEnd = 17;
  // The most attachments the older store takes in one record.
  static constexpr std::size_t kMaxAttachments = 64;

  static std::optional<PropertyKind> PropertyKindOf(std::uint32_t id);

  // A message from a record read from the handheld. Its attachments carry
  // their names and device files, no bytes. Fails on a value of the wrong
  // kind or an attachment list that does not pair up.
  static Result<MailMessage> FromWireRecord(const WireRecord& record,
                                            MailStore store,
                                            const MailClock& clock);

  // The folder and read word of `store`, and back.
  static std::uint32_t FolderWord(MailStore store, MailFolder folder,
                                  bool read);
  static MailFolder FolderOfWord(MailStore store, std::uint32_t word);
  static bool ReadOfWord(MailStore store, std::uint32_t word);

  // The written form of `message`. Each attachment's bytes must already
  // lie in its device file on the handheld.
  static std::vector<std::uint8_t> Encode(const MailMessage& message,
                                          MailStore store,
                                          const MailClock& clock);
  // Reads the written form as the handheld's agents do (ids without a
  // value carry none). Attachments come back with names and device files.
  static Result<MailMessage> Decode(std::span<const std::uint8_t> bytes,
                                    MailStore store, const MailClock& clock);

  // The attachment lists on their own.
  static std::u16string WrittenAttachmentList(
      const std::vector<MailAttachment>& attachments, MailStore store);
  static Result<std::vector<MailAttachment>> ParseWrittenAttachmentList(
      std::u16string_view list, MailStore store);
  static Result<std::vector<MailAttachment>> ParseReadAttachmentList(
      std::u16string_view list, MailStore store);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_MAIL_RECORD_H_
