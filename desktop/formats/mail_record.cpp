#include "desktop/formats/mail_record.h"

#include <algorithm>

#include "desktop/formats/record_bytes.h"
#include "desktop/wire/reply_reader.h"
#include "protocol/wire.h"

namespace desktop {

namespace {

Status WrongKind(const WireRecord& record, std::uint32_t id) {
  return Status::Error("mail " + std::to_string(record.oid) + ": property " +
                       std::to_string(id) + " has the wrong kind");
}

// Reads a decimal number at `at` and moves past it and one separator.
std::optional<std::size_t> Number(std::u16string_view list, std::size_t& at) {
  std::size_t value = 0;
  std::size_t digits = 0;
  while (at < list.size() && list[at] >= u'0' && list[at] <= u'9') {
    value = value * 10 + static_cast<std::size_t>(list[at] - u'0');
    if (value > 0xFFFFFF) return std::nullopt;
    ++at;
    ++digits;
  }
  if (digits == 0 || at >= list.size()) return std::nullopt;
  ++at;  // the separator
  return value;
}

constexpr std::uint32_t kStoreRead = 0x10000;
constexpr std::pair<MailFolder, std::uint32_t> kStoreFolders[] = {
    {MailFolder::kInbox, 0xFE},
    {MailFolder::kOutbox, 0xFD},
    {MailFolder::kSent, 0xFC},
    {MailFolder::kDrafts, 0xFB},
    {MailFolder::kOther, 0xFA}};

// The two strings of an attachment in the order of `store`.
std::pair<std::u16string*, std::u16string*> Strings(MailAttachment& a,
                                                    MailStore store) {
  if (store == MailStore::kMapi) return {&a.device_file, &a.name};
  return {&a.name, &a.device_file};
}

std::u16string Decimal(std::size_t value) {
  std::u16string out;
  for (char c : std::to_string(value)) out += static_cast<char16_t>(c);
  return out;
}

}  // namespace

std::optional<PropertyKind> MailRecord::PropertyKindOf(std::uint32_t id) {
  switch (id) {
    case kFrom:
    case kTo:
    case kCc:
    case kBcc:
    case kSubject:
    case kBody:
    case kAttachments:
    case kMessageId:
    case kWhere:
      return PropertyKind::kString;
    case kTime:
    case kTimeAgain:
    case kStart:
    case kEnd:
      return PropertyKind::kTime;
    case kStoreWord:
    case kFolderWord:
    case kHasWhere:
      return PropertyKind::kLong;
    default:
      return std::nullopt;
  }
}

std::uint32_t MailRecord::FolderWord(MailStore store, MailFolder folder,
                                     bool read) {
  if (store == MailStore::kMapi) return MailFolderWord(folder, read);
  std::uint32_t word = 0;
  for (const auto& [known, code] : kStoreFolders) {
    if (known == folder) word = code;
  }
  return read ? (word | kStoreRead) : word;
}

MailFolder MailRecord::FolderOfWord(MailStore store, std::uint32_t word) {
  if (store == MailStore::kMapi) return MailFolderOfWord(word);
  for (const auto& [folder, code] : kStoreFolders) {
    if ((word & 0xFF) == code) return folder;
  }
  return MailFolder::kOther;
}

bool MailRecord::ReadOfWord(MailStore store, std::uint32_t word) {
  if (store == MailStore::kMapi) return MailReadOfWord(word);
  return (word & kStoreRead) != 0;
}

Result<MailMessage> MailRecord::FromWireRecord(const WireRecord& record,
                                               MailStore store,
                                               const MailClock& clock) {
  MailMessage message;
  message.key = record.oid;
  message.folder = MailFolder::kOther;
  for (const WireProperty& property : record.properties) {
    const auto* text = std::get_if<std::u16string>(&property.value);
    const auto* time = std::get_if<TimeRecord>(&property.value);
    const auto* word = std::get_if<std::uint32_t>(&property.value);
    std::u16string* field = nullptr;
    switch (property.id) {
      case kFrom:
        field = &message.from;
        break;
      case kTo:
        field = &message.to;
        break;
      case kCc:
        field = &message.cc;
        break;
      case kBcc:
        field = &message.bcc;
        break;
      case kSubject:
        field = &message.subject;
        break;
      case kBody:
        field = &message.body;
        break;
      case kMessageId:
        field = &message.message_id;
        break;
      case kTime:
        if (time == nullptr) return WrongKind(record, property.id);
        message.time = store == MailStore::kMapi ? clock.ToUtc(*time) : *time;
        continue;
      case kFolderWord:
        if (word == nullptr) return WrongKind(record, property.id);
        message.folder = FolderOfWord(store, *word);
        message.read = ReadOfWord(store, *word);
        continue;
      case kAttachments: {
        if (text == nullptr) return WrongKind(record, property.id);
        auto attachments = ParseReadAttachmentList(*text, store);
        if (!attachments.ok()) {
          return attachments.status().WithContext("mail " +
                                                  std::to_string(record.oid));
        }
        message.attachments = std::move(*attachments);
        continue;
      }
      default:
        continue;  // kept on the handheld, not on the desktop
    }
    if (text == nullptr) return WrongKind(record, property.id);
    *field = *text;
  }
  return message;
}

std::u16string MailRecord::WrittenAttachmentList(
    const std::vector<MailAttachment>& attachments, MailStore store) {
  std::u16string out = Decimal(attachments.size()) + u" ";
  for (MailAttachment attachment : attachments) {
    auto [first, second] = Strings(attachment, store);
    out += Decimal(first->size()) + u" " + *first;
    out += Decimal(second->size()) + u" " + *second;
  }
  return out;
}

Result<std::vector<MailAttachment>> MailRecord::ParseWrittenAttachmentList(
    std::u16string_view list, MailStore store) {
  std::vector<MailAttachment> out;
  if (list.empty()) return out;
  std::size_t at = 0;
  std::optional<std::size_t> count = Number(list, at);
  if (!count) return Status::Error("attachment list: no count");
  for (std::size_t i = 0; i < *count; ++i) {
    MailAttachment attachment;
    auto [first, second] = Strings(attachment, store);
    for (std::u16string* text : {first, second}) {
      std::optional<std::size_t> length = Number(list, at);
      if (!length || *length > list.size() - at) {
        return Status::Error("attachment list: attachment " +
                             std::to_string(i + 1) + " ends early");
      }
      *text = std::u16string(list.substr(at, *length));
      at += *length;
    }
    out.push_back(std::move(attachment));
  }
  return out;
}

Result<std::vector<MailAttachment>> MailRecord::ParseReadAttachmentList(
    std::u16string_view list, MailStore store) {
  std::vector<std::u16string> lines;
  std::size_t start = 0;
  while (start < list.size()) {
    std::size_t end = list.find(u'\n', start);
    if (end == std::u16string_view::npos) {
      return Status::Error("attachment list does not end with a line feed");
    }
    lines.emplace_back(list.substr(start, end - start));
    start = end + 1;
  }
  if (lines.size() % 2 != 0) {
    return Status::Error("attachment list: a device file without a name");
  }
  std::vector<MailAttachment> out;
  for (std::size_t i = 0; i < lines.size(); i += 2) {
    MailAttachment attachment;
    auto [first, second] = Strings(attachment, store);
    *first = lines[i];
    *second = lines[i + 1];
    out.push_back(std::move(attachment));
  }
  return out;
}

std::vector<std::uint8_t> MailRecord::Encode(const MailMessage& message,
                                             MailStore store,
                                             const MailClock& clock) {
  RecordBytes props(false);
  if (!message.from.empty()) props.Text(kFrom, message.from);
  if (!message.to.empty()) props.Text(kTo, message.to);
  if (!message.cc.empty()) props.Text(kCc, message.cc);
  if (!message.bcc.empty()) props.Text(kBcc, message.bcc);
  if (!message.subject.empty()) props.Text(kSubject, message.subject);
  if (message.time) props.Time(kTime, clock.ToLocal(*message.time));
  props.Text(kBody, message.body);
  if (!message.attachments.empty()) {
    props.Text(kAttachments, WrittenAttachmentList(message.attachments, store));
  }
  if (!message.message_id.empty()) props.Text(kMessageId, message.message_id);
  std::vector<std::uint8_t> bytes = props.Take();
  // The count stays first; the size and the folder word go before the
  // properties.
  std::vector<std::uint8_t> out(12);
  std::copy_n(bytes.begin(), 4, out.begin());
  protocol::PutU32(out.data() + 4,
                   static_cast<std::uint32_t>(bytes.size() - 4));
  protocol::PutU32(out.data() + 8,
                   FolderWord(store, message.folder, message.read));
  out.insert(out.end(), bytes.begin() + 4, bytes.end());
  return out;
}

Result<MailMessage> MailRecord::Decode(std::span<const std::uint8_t> bytes,
                                       MailStore store,
                                       const MailClock& clock) {
  ReplyReader reader(bytes);
  Result<std::uint32_t> count = reader.U32("property count");
  if (!count.ok()) return count.status();
  Result<std::uint32_t> size = reader.U32("size");
  if (!size.ok()) return size.status();
  Result<std::uint32_t> word = reader.U32("folder word");
  if (!word.ok()) return word.status();
  MailMessage message;
  message.folder = FolderOfWord(store, *word);
  message.read = ReadOfWord(store, *word);
  for (std::uint32_t i = 0; i < *count; ++i) {
    Result<std::uint32_t> id = reader.U32("property id");
    if (!id.ok()) return id.status();
    if (*id == kTime || *id == kTimeAgain) {
      Result<TimeRecord> time = reader.Time("mail time");
      if (!time.ok()) return time.status();
      message.time = clock.ToUtc(*time);
      continue;
    }
    if (*id == kStoreWord) {
      Result<std::uint32_t> ignored = reader.U32("mail property 10");
      if (!ignored.ok()) return ignored.status();
      continue;
    }
    if (*id < kFrom || *id > kMessageId || *id == kFolderWord || *id == 12) {
      continue;  // no value follows
    }
    Result<std::u16string> text = reader.String("mail property");
    if (!text.ok()) return text.status();
    switch (*id) {
      case kFrom:
        message.from = std::move(*text);
        break;
      case kTo:
        message.to = std::move(*text);
        break;
      case kCc:
        message.cc = std::move(*text);
        break;
      case kBcc:
        message.bcc = std::move(*text);
        break;
      case kSubject:
        message.subject = std::move(*text);
        break;
      case kBody:
        message.body = std::move(*text);
        break;
      case kAttachments: {
        auto attachments = ParseWrittenAttachmentList(*text, store);
        if (!attachments.ok()) return attachments.status();
        message.attachments = std::move(*attachments);
        break;
      }
      default:
        message.message_id = std::move(*text);
        break;
    }
  }
  return message;
}

}  // namespace desktop
