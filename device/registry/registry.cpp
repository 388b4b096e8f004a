#include "device/registry/registry.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "device/objstore/record_value.h"
#include "platform/api.h"

namespace device {
namespace {

// The longest key name the handheld accepts, in characters.
constexpr std::size_t kMaxKeyNameLength = 255;

struct Root {
  HKEY handle;
  std::int64_t id;
  std::string_view shortName;
  std::string_view longName;
};

constexpr Root kRoots[] = {
    {HKEY_CLASSES_ROOT, 1, "HKCR", "HKEY_CLASSES_ROOT"},
    {HKEY_CURRENT_USER, 2, "HKCU", "HKEY_CURRENT_USER"},
    {HKEY_LOCAL_MACHINE, 3, "HKLM", "HKEY_LOCAL_MACHINE"},
    {HKEY_USERS, 4, "HKU", "HKEY_USERS"},
};

// An open key of the handle table.
class RegistryKey final : public KernelObject {
 public:
  explicit RegistryKey(std::int64_t id) : id_(id) {}
  std::int64_t id() const { return id_; }

 private:
  std::int64_t id_;
};

char16_t FoldCase(char16_t c) {
  if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + 0x20);
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
    return static_cast<char16_t>(c + 0x20);
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) {
    return static_cast<char16_t>(c + 0x20);
  }
  if (c >= 0x410 && c <= 0x42F) return static_cast<char16_t>(c + 0x20);
  if (c >= 0x400 && c <= 0x40F) return static_cast<char16_t>(c + 0x50);
  return c;
}

std::string Folded(std::u16string_view name) {
  std::u16string folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), FoldCase);
  return Utf16ToUtf8(folded);
}

std::u16string_view ZeroTerminated(LPCWSTR text) {
  if (text == nullptr) return {};
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return std::u16string_view(text, length);
}

std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string Hex(const std::vector<std::uint8_t>& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::uint8_t b : bytes) {
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 15]);
  }
  return out;
}

// The UTF-16 units of `data` (little-endian), up to an odd trailing byte.
std::u16string Utf16Units(const std::vector<std::uint8_t>& data) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
    units.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
  }
  return units;
}

}  // namespace

Registry::Registry(DeviceContext& context) : context_(context) {
  DeviceImage& image = context_.image;
  image.Exec(
      "CREATE TABLE IF NOT EXISTS reg_keys(id INTEGER PRIMARY KEY, "
      "parent INTEGER NOT NULL, name TEXT NOT NULL, folded TEXT NOT NULL, "
      "UNIQUE(parent, folded))");
  image.Exec(
      "CREATE TABLE IF NOT EXISTS reg_values(key INTEGER NOT NULL "
      "REFERENCES reg_keys(id) ON DELETE CASCADE, name TEXT NOT NULL, "
      "folded TEXT NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, "
      "PRIMARY KEY(key, folded))");
  Statement insert = image.Prepare(
      "INSERT OR IGNORE INTO reg_keys(id, parent, name, folded) "
      "VALUES(?, 0, ?, ?)");
  for (const Root& root : kRoots) {
    insert.Bind(1, root.id)
        .Bind(2, root.longName)
        .Bind(3, AsciiLower(root.longName))
        .Run();
  }
}

std::optional<std::int64_t> Registry::KeyOf(HKEY key) const {
  for (const Root& root : kRoots) {
    if (root.handle == key) return root.id;
  }
  if (auto* open = context_.handles.Get<RegistryKey>(key)) return open->id();
  return std::nullopt;
}

std::optional<std::int64_t> Registry::FindChild(std::int64_t parent,
                                                std::u16string_view name) {
  Statement& find = context_.image.Cached(
      "SELECT id FROM reg_keys WHERE parent=? AND folded=?");
  find.Bind(1, parent).Bind(2, Folded(name));
  std::optional<std::int64_t> id;
  if (find.Step()) id = find.Int(0);
  find.Reset();
  return id;
}

std::int64_t Registry::AddChild(std::int64_t parent, std::u16string_view name) {
  Statement& add = context_.image.Cached(
      "INSERT INTO reg_keys(parent, name, folded) VALUES(?, ?, ?) "
      "RETURNING id");
  add.Bind(1, parent).Bind(2, Utf16ToUtf8(name)).Bind(3, Folded(name));
  std::int64_t id = add.Step() ? add.Int(0) : 0;
  add.Reset();
  return id;
}

std::optional<std::int64_t> Registry::Walk(std::int64_t base,
                                           std::u16string_view path,
                                           bool create, bool* created) {
  std::int64_t current = base;
  bool madeLast = false;
  while (!path.empty()) {
    std::size_t slash = path.find(u'\\');
    std::u16string_view part = path.substr(0, slash);
    path = slash == std::u16string_view::npos ? std::u16string_view()
                                              : path.substr(slash + 1);
    if (part.empty()) continue;
    if (part.size() > kMaxKeyNameLength) return std::nullopt;
    std::optional<std::int64_t> child = FindChild(current, part);
    madeLast = false;
    if (!child) {
      if (!create) return std::nullopt;
      child = AddChild(current, part);
      madeLast = true;
    }
    current = *child;
  }
  if (created != nullptr) *created = madeLast;
  return current;
}

std::optional<RegistryValue> Registry::Lookup(std::int64_t key,
                                              std::u16string_view name) {
  Statement& find = context_.image.Cached(
      "SELECT type, data FROM reg_values WHERE key=? AND folded=?");
  find.Bind(1, key).Bind(2, Folded(name));
  std::optional<RegistryValue> value;
  if (find.Step()) {
    value = RegistryValue{static_cast<DWORD>(find.Int(0)), find.Blob(1)};
  }
  find.Reset();
  return value;
}

void Registry::Store(std::int64_t key, std::u16string_view name,
                     const RegistryValue& value) {
  context_.image
      .Cached(
          "INSERT INTO reg_values(key, name, folded, type, data) "
          "VALUES(?, ?, ?, ?, ?) ON CONFLICT(key, folded) DO UPDATE SET "
          "name=excluded.name, type=excluded.type, data=excluded.data")
      .Bind(1, key)
      .Bind(2, Utf16ToUtf8(name))
      .Bind(3, Folded(name))
      .Bind(4, std::int64_t{value.type})
      .BindBlob(5, value.data)
      .Run();
}

bool Registry::Remove(std::int64_t key, std::u16string_view name) {
  if (!Lookup(key, name)) return false;
  context_.image.Cached("DELETE FROM reg_values WHERE key=? AND folded=?")
      .Bind(1, key)
      .Bind(2, Folded(name))
      .Run();
  return true;
}

LONG Registry::RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD /*options*/,
                             REGSAM /*access*/, HKEY* result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  std::optional<std::int64_t> base = KeyOf(key);
  if (!base) return ERROR_INVALID_HANDLE;
  std::optional<std::int64_t> found =
      Walk(*base, ZeroTerminated(subKey), false, nullptr);
  if (!found) return ERROR_FILE_NOT_FOUND;
  *result = context_.handles.Add(std::make_unique<RegistryKey>(*found));
  return ERROR_SUCCESS;
}

LONG Registry::RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD /*reserved*/,
                               LPWSTR /*keyClass*/, DWORD /*options*/,
                               REGSAM /*access*/, void* /*security*/,
                               HKEY* result, DWORD* disposition) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  std::optional<std::int64_t> base = KeyOf(key);
  if (!base) return ERROR_INVALID_HANDLE;
  bool created = false;
  std::optional<std::int64_t> found =
      Walk(*base, ZeroTerminated(subKey), true, &created);
  if (!found) return ERROR_INVALID_PARAMETER;  // a name over 255 characters
  *result = context_.handles.Add(std::make_unique<RegistryKey>(*found));
  if (disposition != nullptr) {
    *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  return ERROR_SUCCESS;
}

LONG Registry::RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* /*reserved*/,
                                DWORD* type, BYTE* data, DWORD* size) {
  std::optional<std::int64_t> id = KeyOf(key);
  if (!id) return ERROR_INVALID_HANDLE;
  if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
  std::optional<RegistryValue> value = Lookup(*id, ZeroTerminated(name));
  if (!value) return ERROR_FILE_NOT_FOUND;
  if (type != nullptr) *type = value->type;
  if (size == nullptr) return ERROR_SUCCESS;
  auto needed = static_cast<DWORD>(value->data.size());
  if (data != nullptr && *size < needed) {
    *size = needed;
    return ERROR_MORE_DATA;
  }
  if (data != nullptr) std::copy(value->data.begin(), value->data.end(), data);
  *size = needed;
  return ERROR_SUCCESS;
}

LONG Registry::RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/,
                              DWORD type, const BYTE* data, DWORD size) {
  std::optional<std::int64_t> id = KeyOf(key);
  if (!id) return ERROR_INVALID_HANDLE;
  if (data == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
  RegistryValue value{type, {}};
  if (data != nullptr) value.data.assign(data, data + size);
  Store(*id, ZeroTerminated(name), value);
  return ERROR_SUCCESS;
}

LONG Registry::RegDeleteValueW(HKEY key, LPCWSTR name) {
  std::optional<std::int64_t> id = KeyOf(key);
  if (!id) return ERROR_INVALID_HANDLE;
  return static_cast<LONG>(
      Remove(*id, ZeroTerminated(name)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
}

LONG Registry::RegCloseKey(HKEY key) {
  for (const Root& root : kRoots) {
    if (root.handle == key) return ERROR_SUCCESS;
  }
  if (context_.handles.Get<RegistryKey>(key) == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  context_.handles.Close(key);
  return ERROR_SUCCESS;
}

Result<std::int64_t> Registry::ResolvePath(std::string_view key, bool create) {
  std::size_t slash = key.find('\\');
  std::string rootName = AsciiLower(key.substr(0, slash));
  std::string_view rest = slash == std::string_view::npos
                              ? std::string_view()
                              : key.substr(slash + 1);
  const Root* root = nullptr;
  for (const Root& candidate : kRoots) {
    if (rootName == AsciiLower(candidate.shortName) ||
        rootName == AsciiLower(candidate.longName)) {
      root = &candidate;
    }
  }
  if (root == nullptr) {
    return Status::Error("unknown registry root in '" + std::string(key) +
                         "' (HKLM, HKCU, HKCR or HKU)");
  }
  std::optional<std::int64_t> id =
      Walk(root->id, Utf8ToUtf16(rest), create, nullptr);
  if (!id) {
    return Status::Error(create ? "bad registry key '" + std::string(key) + "'"
                                : "no registry key '" + std::string(key) + "'");
  }
  return *id;
}

Result<RegistryValue> Registry::Get(std::string_view key,
                                    std::string_view name) {
  Result<std::int64_t> id = ResolvePath(key, false);
  if (!id.ok()) return id.status();
  std::optional<RegistryValue> value = Lookup(*id, Utf8ToUtf16(name));
  if (!value) {
    return Status::Error("no value '" + std::string(name) + "' in '" +
                         std::string(key) + "'");
  }
  return *value;
}

Status Registry::Set(std::string_view key, std::string_view name,
                     const RegistryValue& value) {
  Result<std::int64_t> id = ResolvePath(key, true);
  if (!id.ok()) return id.status();
  Store(*id, Utf8ToUtf16(name), value);
  return Status::Ok();
}

Status Registry::SetDword(std::string_view key, std::string_view name,
                          DWORD value) {
  RegistryValue stored{
      REG_DWORD,
      {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
       static_cast<std::uint8_t>(value >> 16),
       static_cast<std::uint8_t>(value >> 24)}};
  return Set(key, name, stored);
}

Status Registry::SetString(std::string_view key, std::string_view name,
                           std::string_view text) {
  RegistryValue stored{REG_SZ, {}};
  for (char16_t unit : Utf8ToUtf16(text) + u'\0') {
    stored.data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    stored.data.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return Set(key, name, stored);
}

Status Registry::Delete(std::string_view key, std::string_view name) {
  Result<std::int64_t> id = ResolvePath(key, false);
  if (!id.ok()) return id.status();
  if (!Remove(*id, Utf8ToUtf16(name))) {
    return Status::Error("no value '" + std::string(name) + "' in '" +
                         std::string(key) + "'");
  }
  return Status::Ok();
}

std::vector<RegistryEntry> Registry::List() {
  std::map<std::int64_t, std::string> paths;
  for (const Root& root : kRoots) paths[root.id] = std::string(root.shortName);
  // Parents are always created before their children, so ids ascend.
  Statement keys = context_.image.Prepare(
      "SELECT id, parent, name FROM reg_keys ORDER BY id");
  while (keys.Step()) {
    auto parent = paths.find(keys.Int(1));
    if (parent != paths.end()) {
      paths[keys.Int(0)] = parent->second + "\\" + keys.Text(2);
    }
  }
  std::vector<RegistryEntry> entries;
  Statement values = context_.image.Prepare(
      "SELECT key, name, type, data FROM reg_values ORDER BY key, folded");
  while (values.Step()) {
    entries.push_back({paths[values.Int(0)],
                       values.Text(1),
                       {static_cast<DWORD>(values.Int(2)), values.Blob(3)}});
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const RegistryEntry& a, const RegistryEntry& b) {
                     return AsciiLower(a.key) < AsciiLower(b.key);
                   });
  return entries;
}

std::string Registry::TypeName(DWORD type) {
  switch (type) {
    case REG_NONE:
      return "REG_NONE";
    case REG_SZ:
      return "REG_SZ";
    case REG_EXPAND_SZ:
      return "REG_EXPAND_SZ";
    case REG_BINARY:
      return "REG_BINARY";
    case REG_DWORD:
      return "REG_DWORD";
    case REG_MULTI_SZ:
      return "REG_MULTI_SZ";
    default:
      return std::to_string(type);
  }
}

std::string Registry::Describe(const RegistryValue& value) {
  if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) {
    std::u16string text = Utf16Units(value.data);
    return Utf16ToUtf8(text.substr(0, text.find(u'\0')));
  }
  if (value.type == REG_DWORD && value.data.size() == 4) {
    DWORD number = value.data[0] | (value.data[1] << 8) |
                   (value.data[2] << 16) |
                   (static_cast<DWORD>(value.data[3]) << 24);
    return std::to_string(number);
  }
  if (value.type == REG_MULTI_SZ) {
    std::u16string text = Utf16Units(value.data);
    std::string out;
    std::size_t start = 0;
    while (start < text.size() && text[start] != 0) {
      std::size_t end = text.find(u'\0', start);
      if (end == std::u16string::npos) end = text.size();
      if (!out.empty()) out += "\n";
      out += Utf16ToUtf8(text.substr(start, end - start));
      start = end + 1;
    }
    return out;
  }
  return Hex(value.data);
}

}  // namespace device
