#include "desktop/formats/mail_message.h"

#include <utility>

namespace desktop {

std::uint32_t MailFolderWord(MailFolder folder, bool read) {
  std::uint32_t word = 0;
  switch (folder) {
    case MailFolder::kInbox:
      word = kMailInboxCode;
      break;
    case MailFolder::kDrafts:
      word = kMailDraftsCode;
      break;
    case MailFolder::kSent:
      word = kMailSentCode;
      break;
    case MailFolder::kOutbox:
      word = kMailOutboxCode;
      break;
    case MailFolder::kOther:
      break;
  }
  return read ? (word | kMailReadBit) : word;
}

MailFolder MailFolderOfWord(std::uint32_t word) {
  if ((word & kMailDraftsCode) != 0) return MailFolder::kDrafts;
  switch (word & 0xFF) {
    case kMailSentCode:
      return MailFolder::kSent;
    case kMailOutboxCode:
      return MailFolder::kOutbox;
    case kMailInboxCode:
      return MailFolder::kInbox;
    default:
      return MailFolder::kOther;
  }
}

bool MailReadOfWord(std::uint32_t word) { return (word & kMailReadBit) != 0; }

std::string MailFolderName(MailFolder folder) {
  switch (folder) {
    case MailFolder::kInbox:
      return "inbox";
    case MailFolder::kDrafts:
      return "drafts";
    case MailFolder::kSent:
      return "sent";
    case MailFolder::kOutbox:
      return "outbox";
    case MailFolder::kOther:
      break;
  }
  return "other";
}

std::optional<MailFolder> MailFolderNamed(std::string_view name) {
  for (MailFolder folder :
       {MailFolder::kInbox, MailFolder::kDrafts, MailFolder::kSent,
        MailFolder::kOutbox, MailFolder::kOther}) {
    if (MailFolderName(folder) == name) return folder;
  }
  return std::nullopt;
}

std::vector<std::u16string> SplitMailAddresses(std::u16string_view list) {
  std::vector<std::u16string> out;
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find_first_of(u";,", start);
    if (end == std::u16string_view::npos) end = list.size();
    std::u16string_view piece = list.substr(start, end - start);
    while (!piece.empty() && piece.front() == u' ') piece.remove_prefix(1);
    while (!piece.empty() && piece.back() == u' ') piece.remove_suffix(1);
    if (!piece.empty()) out.emplace_back(piece);
    start = end + 1;
  }
  return out;
}

MailClock::MailClock()
    : local_to_utc_([](const TimeRecord& t) { return t; }),
      utc_to_local_([](const TimeRecord& t) { return t; }) {}

MailClock::MailClock(Convert local_to_utc, Convert utc_to_local)
    : local_to_utc_(std::move(local_to_utc)),
      utc_to_local_(std::move(utc_to_local)) {}

namespace {

TimeRecord ConvertZone(const TimeRecord& time, icaltimezone* from,
                       icaltimezone* to) {
  icaltimetype t = icaltime_null_time();
  t.year = time.year;
  t.month = time.month;
  t.day = time.day;
  t.hour = time.hour;
  t.minute = time.minute;
  t.second = time.second;
  t = icaltime_convert_to_zone(icaltime_set_timezone(&t, from), to);
  TimeRecord out;
  out.year = static_cast<std::uint16_t>(t.year);
  out.month = static_cast<std::uint16_t>(t.month);
  out.day = static_cast<std::uint16_t>(t.day);
  out.day_of_week =
      static_cast<std::uint16_t>(DayOfWeek(t.year, t.month, t.day));
  out.hour = static_cast<std::uint16_t>(t.hour);
  out.minute = static_cast<std::uint16_t>(t.minute);
  out.second = static_cast<std::uint16_t>(t.second);
  out.milliseconds = time.milliseconds;
  return out;
}

}  // namespace

MailClock MailClock::ForZone(const IcalZone& zone) {
  if (zone.floating() || zone.utc()) return MailClock();
  icaltimezone* local = zone.zone();
  icaltimezone* utc = icaltimezone_get_utc_timezone();
  return MailClock(
      [local, utc](const TimeRecord& t) { return ConvertZone(t, local, utc); },
      [local, utc](const TimeRecord& t) { return ConvertZone(t, utc, local); });
}

TimeRecord MailClock::ToUtc(const TimeRecord& local) const {
  return local_to_utc_(local);
}

TimeRecord MailClock::ToLocal(const TimeRecord& utc) const {
  return utc_to_local_(utc);
}

}  // namespace desktop
