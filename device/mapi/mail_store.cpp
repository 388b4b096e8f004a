#include "device/mapi/mail_store.h"

#include <algorithm>
#include <cstring>

#include "device/image/utf8.h"

namespace device {
namespace {

constexpr BYTE kSignature[8] = {'V', 'o', 'r', 'n', 'M', 'A', 'P', 'I'};
constexpr int kMessagePart = 0;
constexpr int kRecipientPart = 1;
constexpr int kAttachmentPart = 2;

}  // namespace

MailStore::MailStore(DeviceImage& image) : image_(image) {
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS mapi_folders(folder INTEGER PRIMARY KEY, "
      "key INTEGER NOT NULL UNIQUE)");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS mapi_messages(key INTEGER PRIMARY KEY, "
      "folder INTEGER NOT NULL)");
  image_.Exec(
      "CREATE INDEX IF NOT EXISTS mapi_messages_folder ON "
      "mapi_messages(folder, key)");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS mapi_props(key INTEGER NOT NULL, part "
      "INTEGER NOT NULL, row INTEGER NOT NULL, tag INTEGER NOT NULL, value "
      "BLOB NOT NULL, PRIMARY KEY(key, part, row, tag)) WITHOUT ROWID");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS mapi_names(name TEXT PRIMARY KEY, id "
      "INTEGER NOT NULL UNIQUE)");
}

DWORD MailStore::FolderKey(MailFolder folder) {
  Statement& select =
      image_.Cached("SELECT key FROM mapi_folders WHERE folder=?");
  select.Bind(1, static_cast<int>(folder));
  std::optional<DWORD> key;
  if (select.Step()) key = static_cast<DWORD>(select.Int(0));
  select.Reset();
  if (key) return *key;
  DWORD fresh = image_.NewOid();
  image_.Cached("INSERT INTO mapi_folders(folder, key) VALUES(?, ?)")
      .Bind(1, static_cast<int>(folder))
      .Bind(2, fresh)
      .Run();
  return fresh;
}

std::optional<MailFolder> MailStore::FolderOfKey(DWORD key) {
  for (int folder = 1; folder <= kMailFolderCount; ++folder) {
    if (FolderKey(static_cast<MailFolder>(folder)) == key) {
      return static_cast<MailFolder>(folder);
    }
  }
  return std::nullopt;
}

std::vector<DWORD> MailStore::MessageKeys(MailFolder folder) {
  Statement& select = image_.Cached(
      "SELECT key FROM mapi_messages WHERE folder=? ORDER BY key");
  select.Bind(1, static_cast<int>(folder));
  std::vector<DWORD> keys;
  while (select.Step()) keys.push_back(static_cast<DWORD>(select.Int(0)));
  select.Reset();
  return keys;
}

DWORD MailStore::MessageCount(MailFolder folder) {
  Statement& select =
      image_.Cached("SELECT count(*) FROM mapi_messages WHERE folder=?");
  select.Bind(1, static_cast<int>(folder));
  DWORD count = select.Step() ? static_cast<DWORD>(select.Int(0)) : 0;
  select.Reset();
  return count;
}

PropList MailStore::LoadProps(DWORD key, int part, ULONG row) {
  Statement& select = image_.Cached(
      "SELECT tag, value FROM mapi_props WHERE key=? AND part=? AND row=? "
      "ORDER BY tag");
  select.Bind(1, key).Bind(2, part).Bind(3, row);
  PropList props;
  while (select.Step()) {
    props.push_back({static_cast<ULONG>(select.Int(0)), select.Blob(1)});
  }
  select.Reset();
  return props;
}

void MailStore::SaveProps(DWORD key, int part, ULONG row,
                          const PropList& props) {
  Statement& insert = image_.Cached(
      "INSERT OR REPLACE INTO mapi_props(key, part, row, tag, value) "
      "VALUES(?, ?, ?, ?, ?)");
  for (const MapiProp& prop : props) {
    insert.Bind(1, key).Bind(2, part).Bind(3, row).Bind(4, prop.tag);
    insert.BindBlob(5, prop.value);
    insert.Run();
    insert.Reset();
  }
}

std::optional<MapiMessageData> MailStore::LoadMessage(DWORD key) {
  Statement& select =
      image_.Cached("SELECT folder FROM mapi_messages WHERE key=?");
  select.Bind(1, key);
  std::optional<MapiMessageData> message;
  if (select.Step()) {
    message.emplace();
    message->key = key;
    message->folder = static_cast<MailFolder>(select.Int(0));
  }
  select.Reset();
  if (!message) return message;
  message->props = LoadProps(key, kMessagePart, 0);
  Statement& rows = image_.Cached(
      "SELECT DISTINCT row FROM mapi_props WHERE key=? AND part=? ORDER BY "
      "row");
  rows.Bind(1, key).Bind(2, kRecipientPart);
  std::vector<ULONG> numbers;
  while (rows.Step()) numbers.push_back(static_cast<ULONG>(rows.Int(0)));
  rows.Reset();
  for (ULONG row : numbers) {
    message->recipients.push_back(LoadProps(key, kRecipientPart, row));
  }
  return message;
}

void MailStore::SaveMessage(const MapiMessageData& message) {
  image_
      .Cached("INSERT OR REPLACE INTO mapi_messages(key, folder) VALUES(?, ?)")
      .Bind(1, message.key)
      .Bind(2, static_cast<int>(message.folder))
      .Run();
  image_.Cached("DELETE FROM mapi_props WHERE key=? AND part IN (0, 1)")
      .Bind(1, message.key)
      .Run();
  SaveProps(message.key, kMessagePart, 0, message.props);
  for (ULONG row = 0; row < message.recipients.size(); ++row) {
    SaveProps(message.key, kRecipientPart, row, message.recipients[row]);
  }
}

bool MailStore::DeleteMessage(DWORD key) {
  Statement& select = image_.Cached("SELECT 1 FROM mapi_messages WHERE key=?");
  select.Bind(1, key);
  bool found = select.Step();
  select.Reset();
  if (!found) return false;
  image_.Cached("DELETE FROM mapi_messages WHERE key=?").Bind(1, key).Run();
  image_.Cached("DELETE FROM mapi_props WHERE key=?").Bind(1, key).Run();
  return true;
}

std::vector<ULONG> MailStore::AttachmentNumbers(DWORD key) {
  Statement& rows = image_.Cached(
      "SELECT DISTINCT row FROM mapi_props WHERE key=? AND part=? ORDER BY "
      "row");
  rows.Bind(1, key).Bind(2, kAttachmentPart);
  std::vector<ULONG> numbers;
  while (rows.Step()) numbers.push_back(static_cast<ULONG>(rows.Int(0)));
  rows.Reset();
  return numbers;
}

PropList MailStore::LoadAttachment(DWORD key, ULONG number) {
  return LoadProps(key, kAttachmentPart, number);
}

void MailStore::SaveAttachmentProp(DWORD key, ULONG number,
                                   const MapiProp& prop) {
  SaveProps(key, kAttachmentPart, number, {prop});
}

std::optional<ULONG> MailStore::NamedId(std::u16string_view name, bool create) {
  std::string utf8 = Utf16ToUtf8(name);
  Statement& select = image_.Cached("SELECT id FROM mapi_names WHERE name=?");
  select.Bind(1, utf8);
  std::optional<ULONG> id;
  if (select.Step()) id = static_cast<ULONG>(select.Int(0));
  select.Reset();
  if (id || !create) return id;
  Statement& next = image_.Cached("SELECT max(id) FROM mapi_names");
  ULONG fresh = kFirstNamedId;
  if (next.Step() && !next.IsNull(0)) {
    fresh = static_cast<ULONG>(next.Int(0)) + 1;
  }
  next.Reset();
  if (fresh > 0xFFFE) return std::nullopt;
  image_.Cached("INSERT INTO mapi_names(name, id) VALUES(?, ?)")
      .Bind(1, utf8)
      .Bind(2, fresh)
      .Run();
  return fresh;
}

void MailStore::MakeEntryId(DWORD key, BYTE (&out)[kEntryIdSize]) {
  std::memset(out, 0, 4);
  for (int i = 0; i < 4; ++i) out[4 + i] = static_cast<BYTE>(key >> (8 * i));
  std::memcpy(out + 8, kSignature, sizeof(kSignature));
}

std::optional<DWORD> MailStore::ParseEntryId(const BYTE* id, ULONG size) {
  if (id == nullptr || size != kEntryIdSize ||
      std::memcmp(id + 8, kSignature, sizeof(kSignature)) != 0) {
    return std::nullopt;
  }
  DWORD key = 0;
  for (int i = 0; i < 4; ++i) key |= static_cast<DWORD>(id[4 + i]) << (8 * i);
  return key;
}

MapiProp MailStore::Long(ULONG tag, DWORD value) {
  MapiProp prop{tag, {}};
  for (int i = 0; i < 4; ++i) {
    prop.value.push_back(static_cast<BYTE>(value >> (8 * i)));
  }
  return prop;
}

MapiProp MailStore::Text(ULONG tag, std::u16string_view text) {
  MapiProp prop{tag, {}};
  for (char16_t c : text) {
    prop.value.push_back(static_cast<BYTE>(c));
    prop.value.push_back(static_cast<BYTE>(c >> 8));
  }
  return prop;
}

MapiProp MailStore::Time(ULONG tag, FILETIME time) {
  MapiProp low = Long(tag, time.dwLowDateTime);
  MapiProp high = Long(tag, time.dwHighDateTime);
  low.value.insert(low.value.end(), high.value.begin(), high.value.end());
  return low;
}

MapiProp MailStore::Binary(ULONG tag, const BYTE* bytes, std::size_t size) {
  return MapiProp{tag, std::vector<BYTE>(bytes, bytes + size)};
}

const MapiProp* MailStore::Find(const PropList& props, ULONG tag) {
  auto it = std::find_if(props.begin(), props.end(),
                         [tag](const MapiProp& p) { return p.tag == tag; });
  return it == props.end() ? nullptr : &*it;
}

void MailStore::Put(PropList& props, MapiProp prop) {
  auto it = std::find_if(props.begin(), props.end(),
                         [&](const MapiProp& p) { return p.tag == prop.tag; });
  if (it == props.end()) {
    props.push_back(std::move(prop));
  } else {
    *it = std::move(prop);
  }
}

DWORD MailStore::AsLong(const MapiProp& prop) {
  DWORD value = 0;
  for (std::size_t i = 0; i < 4 && i < prop.value.size(); ++i) {
    value |= static_cast<DWORD>(prop.value[i]) << (8 * i);
  }
  return value;
}

std::u16string MailStore::AsText(const MapiProp& prop) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < prop.value.size(); i += 2) {
    auto c = static_cast<char16_t>(prop.value[i] | (prop.value[i + 1] << 8));
    if (c == 0) break;
    text.push_back(c);
  }
  return text;
}

}  // namespace device
