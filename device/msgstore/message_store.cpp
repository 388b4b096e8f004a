#include "device/msgstore/message_store.h"

#include <algorithm>

#include "device/objstore/record_table.h"
#include "device/pim/change_log_writer.h"

namespace device {
namespace {

constexpr int kAdded = 1;
constexpr int kChanged = 2;
constexpr int kDeleted = 3;

bool IsOwnProperty(CEPROPID id) {
  return id == kMailFlagsProp || id == kMailThirdWordProp ||
         id == kMailDateProp || id == kMailServiceProp ||
         id == kMailHeadersProp || id == kMailBodyProp ||
         id == kMailAttachmentsProp;
}

RecordValue Number(CEPROPID id, std::int64_t value) {
  RecordValue v;
  v.id = id;
  v.number = value;
  return v;
}

RecordValue Text(CEPROPID id, std::u16string text) {
  RecordValue v;
  v.id = id;
  v.text = std::move(text);
  return v;
}

char16_t Fold(char16_t c) {
  return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(),
                    [](char16_t x, char16_t y) { return Fold(x) == Fold(y); });
}

// The line of `headers` that holds the field `name`: its start and end (the
// end before the line break); npos when there is none.
std::pair<std::size_t, std::size_t> FindField(std::u16string_view headers,
                                              std::u16string_view name) {
  std::size_t start = 0;
  while (start < headers.size()) {
    std::size_t end = headers.find(u"\r\n", start);
    if (end == std::u16string_view::npos) end = headers.size();
    std::u16string_view line = headers.substr(start, end - start);
    std::size_t colon = line.find(u':');
    if (colon != std::u16string_view::npos &&
        SameName(line.substr(0, colon), name)) {
      return {start, end};
    }
    start = end + 2;
  }
  return {std::u16string_view::npos, std::u16string_view::npos};
}

void PutU32(std::vector<std::uint8_t>& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void PutText(std::vector<std::uint8_t>& out, const std::u16string& text) {
  PutU32(out, static_cast<std::uint32_t>(text.size()));
  for (char16_t c : text) {
    out.push_back(static_cast<std::uint8_t>(c));
    out.push_back(static_cast<std::uint8_t>(c >> 8));
  }
}

}  // namespace

std::optional<std::u16string> HeaderField(std::u16string_view headers,
                                          std::u16string_view name) {
  auto [start, end] = FindField(headers, name);
  if (start == std::u16string_view::npos) return std::nullopt;
  std::u16string_view line = headers.substr(start, end - start);
  std::u16string_view value = line.substr(line.find(u':') + 1);
  if (!value.empty() && value.front() == u' ') value.remove_prefix(1);
  return std::u16string(value);
}

std::u16string WithHeaderField(std::u16string_view headers,
                               std::u16string_view name,
                               std::u16string_view value) {
  auto [start, end] = FindField(headers, name);
  std::u16string out(headers);
  if (start != std::u16string_view::npos) {
    // The field keeps its place and the spelling of its name.
    std::size_t colon = out.find(u':', start);
    std::u16string replaced = u" ";
    replaced += value;
    out.replace(colon + 1, end - colon - 1, replaced);
    return out;
  }
  std::u16string line(name);
  line += u": ";
  line += value;
  if (!out.empty() && !out.ends_with(u"\r\n")) out += u"\r\n";
  out += line;
  out += u"\r\n";
  return out;
}

std::vector<std::uint8_t> EncodeAttachments(
    const std::vector<StoredAttachment>& attachments) {
  std::vector<std::uint8_t> out;
  PutU32(out, static_cast<std::uint32_t>(attachments.size()));
  for (const StoredAttachment& a : attachments) {
    PutText(out, a.first);
    PutText(out, a.second);
  }
  return out;
}

std::optional<std::vector<StoredAttachment>> DecodeAttachments(
    const std::vector<std::uint8_t>& bytes) {
  std::size_t at = 0;
  auto u32 = [&](std::uint32_t& value) {
    if (bytes.size() - at < 4) return false;
    value = 0;
    for (int i = 0; i < 4; ++i)
      value |= std::uint32_t{bytes[at + i]} << (8 * i);
    at += 4;
    return true;
  };
  auto text = [&](std::u16string& value) {
    std::uint32_t length = 0;
    if (!u32(length) || (bytes.size() - at) / 2 < length) return false;
    value.clear();
    for (std::uint32_t i = 0; i < length; ++i, at += 2) {
      value.push_back(static_cast<char16_t>(bytes[at] | (bytes[at + 1] << 8)));
    }
    return true;
  };
  std::uint32_t count = 0;
  if (!u32(count)) return std::nullopt;
  std::vector<StoredAttachment> out;
  for (std::uint32_t i = 0; i < count; ++i) {
    StoredAttachment a;
    if (!text(a.first) || !text(a.second)) return std::nullopt;
    out.push_back(std::move(a));
  }
  if (at != bytes.size()) return std::nullopt;
  return out;
}

MessageStore::MessageStore(RecordTable& records, ChangeLogWriter& changeLog)
    : records_(records), changeLog_(changeLog) {}

CEOID MessageStore::Database() {
  if (auto oid = records_.FindDatabaseOid(kMailDatabaseName)) return *oid;
  return records_.CreateDatabase(kMailDatabaseName, kMailDatabaseType, {});
}

bool MessageStore::IsMessage(CEOID oid) {
  auto parent = records_.RecordParent(oid);
  auto database = records_.FindDatabaseOid(kMailDatabaseName);
  return oid != 0 && parent && database && *parent == *database;
}

CEOID MessageStore::Write(CEOID record, const StoredMessage& message) {
  std::vector<RecordValue> set = {
      Number(kMailFlagsProp, message.flags),
      Number(kMailThirdWordProp, message.thirdWord),
      Number(kMailDateProp, static_cast<std::int64_t>(message.date)),
      Text(kMailServiceProp, message.service),
      Text(kMailHeadersProp, message.headers),
      Text(kMailBodyProp, message.body),
  };
  RecordValue attachments;
  attachments.id = kMailAttachmentsProp;
  attachments.bytes = EncodeAttachments(message.attachments);
  set.push_back(std::move(attachments));
  std::vector<CEPROPID> remove;
  if (record != 0) {
    for (const RecordValue& v : records_.ReadRecord(record)) {
      if (IsOwnProperty(v.id)) continue;
      bool kept =
          std::any_of(message.further.begin(), message.further.end(),
                      [&](const RecordValue& f) { return f.id == v.id; });
      if (!kept) remove.push_back(v.id);
    }
  }
  for (const RecordValue& v : message.further) {
    if (!IsOwnProperty(v.id)) set.push_back(v);
  }
  return records_.WriteRecord(Database(), record, set, remove);
}

Result<CEOID> MessageStore::Add(const StoredMessage& message) {
  CEOID oid = Write(0, message);
  Status logged = changeLog_.AppendMail(oid, kAdded);
  if (!logged.ok()) return logged;
  return oid;
}

Status MessageStore::Update(const StoredMessage& message) {
  if (!IsMessage(message.oid)) return Status::Error("no such message");
  Write(message.oid, message);
  return changeLog_.AppendMail(message.oid, kChanged);
}

Status MessageStore::Delete(CEOID oid) {
  if (!IsMessage(oid)) return Status::Error("no such message");
  records_.DeleteRecord(oid);
  return changeLog_.AppendMail(oid, kDeleted);
}

std::optional<StoredMessage> MessageStore::Read(CEOID oid) {
  if (!IsMessage(oid)) return std::nullopt;
  StoredMessage message;
  message.oid = oid;
  for (RecordValue& v : records_.ReadRecord(oid)) {
    switch (v.id) {
      case kMailFlagsProp:
        message.flags = static_cast<DWORD>(v.number);
        break;
      case kMailThirdWordProp:
        message.thirdWord = static_cast<DWORD>(v.number);
        break;
      case kMailDateProp:
        message.date = static_cast<std::uint64_t>(v.number);
        break;
      case kMailServiceProp:
        message.service = std::move(v.text);
        break;
      case kMailHeadersProp:
        message.headers = std::move(v.text);
        break;
      case kMailBodyProp:
        message.body = std::move(v.text);
        break;
      case kMailAttachmentsProp:
        message.attachments = DecodeAttachments(v.bytes).value_or(
            std::vector<StoredAttachment>{});
        break;
      default:
        message.further.push_back(std::move(v));
    }
  }
  return message;
}

std::vector<CEOID> MessageStore::List() {
  std::vector<CEOID> out;
  auto database = records_.FindDatabaseOid(kMailDatabaseName);
  if (!database) return out;
  for (auto at = records_.FromStart(*database, RecordTable::kOidOrder, 0); at;
       at = records_.After(*database, RecordTable::kOidOrder, *at, 0)) {
    out.push_back(at->oid);
  }
  return out;
}

std::optional<CEOID> MessageStore::First(BYTE folder) {
  for (CEOID oid : List()) {
    if (folder == 0xFF) return oid;
    auto message = Read(oid);
    if (message && (message->flags & 0xFF) == folder) return oid;
  }
  return std::nullopt;
}

}  // namespace device
