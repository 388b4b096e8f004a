// A mail message as the desktop holds it, whichever of the handheld's two
// mail stores it came from, and the clock that moves its time between the
// handheld's local time and UTC.
//
// The folder and read word travels with every message (property 11 read,
// the third u32 of a written record): the folder's code, OR 0x100000 when
// the message has been read. Codes: 0x400000 Drafts, 252 Sent Items,
// 253 Outbox, 254 Inbox; 0 any other folder.
#ifndef VORN_DESKTOP_FORMATS_MAIL_MESSAGE_H_
#define VORN_DESKTOP_FORMATS_MAIL_MESSAGE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/wire/time_record.h"

namespace desktop {

enum class MailFolder { kInbox, kDrafts, kSent, kOutbox, kOther };

inline constexpr std::uint32_t kMailReadBit = 0x100000;
inline constexpr std::uint32_t kMailDraftsCode = 0x400000;
inline constexpr std::uint32_t kMailSentCode = 252;
inline constexpr std::uint32_t kMailOutboxCode = 253;
inline constexpr std::uint32_t kMailInboxCode = 254;

// The word for a folder and read state, and back.
std::uint32_t MailFolderWord(MailFolder folder, bool read);
MailFolder MailFolderOfWord(std::uint32_t word);
bool MailReadOfWord(std::uint32_t word);

// "inbox", "drafts", "sent", "outbox", "other"; and back (nullopt for a
// name that is none of these).
std::string MailFolderName(MailFolder folder);
std::optional<MailFolder> MailFolderNamed(std::string_view name);

struct MailAttachment {
  std::u16string name;             // the file name the user sees
  std::vector<std::uint8_t> data;  // its bytes (empty until fetched)
  std::u16string device_file;      // where its bytes lie on the handheld
  bool operator==(const MailAttachment&) const = default;
};

struct MailMessage {
  std::optional<std::uint32_t> key;  // the handheld's record key
  MailFolder folder = MailFolder::kInbox;
  bool read = false;
  std::u16string from;
  std::u16string to;  // addresses joined by ";"
  std::u16string cc;
  std::u16string bcc;
  std::u16string subject;
  std::u16string body;
  std::optional<TimeRecord> time;  // UTC
  std::u16string message_id;       // the older store's "Message-ID" header
  std::vector<MailAttachment> attachments;

  bool operator==(const MailMessage&) const = default;
};

// Splits an address list at ";" and ","; trims spaces; drops empty pieces.
std::vector<std::u16string> SplitMailAddresses(std::u16string_view list);

// Moves times between the handheld's local time and UTC.
class MailClock {
 public:
  using Convert = std::function<TimeRecord(const TimeRecord&)>;
  // The handheld keeps UTC (no conversion).
  MailClock();
  MailClock(Convert local_to_utc, Convert utc_to_local);
  // The handheld's zone as `vorn --tz` names it; a floating zone is taken
  // as UTC.
  static MailClock ForZone(const IcalZone& zone);

  TimeRecord ToUtc(const TimeRecord& local) const;
  TimeRecord ToLocal(const TimeRecord& utc) const;

 private:
  Convert local_to_utc_;
  Convert utc_to_local_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_MAIL_MESSAGE_H_
