#include "device/fs/file_path.h"

#include "device/fs/file_name.h"
#include "platform/objstore_types.h"

namespace device {
namespace {

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

DWORD CheckName(std::u16string_view name, bool wildcardsAllowed) {
  for (char16_t c : name) {
    if (c < 0x20) return ERROR_INVALID_NAME;
    switch (c) {
      case u':':
      case u'"':
      case u'<':
      case u'>':
      case u'|':
        return ERROR_INVALID_NAME;
      case u'*':
      case u'?':
        if (!wildcardsAllowed) return ERROR_INVALID_NAME;
        break;
      default:
        break;
    }
  }
  if (name.find_first_not_of(u'.') == std::u16string_view::npos) {
    return ERROR_INVALID_NAME;  // "...", "...." and so on
  }
  if (!FileNameToUtf8(name).has_value()) return ERROR_INVALID_NAME;
  return ERROR_SUCCESS;
}

}  // namespace

DWORD FilePath::Parse(LPCWSTR text, Kind kind, FilePath* out) {
  if (text == nullptr) return ERROR_INVALID_PARAMETER;
  std::size_t length = 0;
  while (length < static_cast<std::size_t>(MAX_PATH) && text[length] != 0) {
    ++length;
  }
  if (length >= static_cast<std::size_t>(MAX_PATH)) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  return Parse(std::u16string_view(text, length), kind, out);
}

DWORD FilePath::Parse(std::u16string_view text, Kind kind, FilePath* out) {
  if (auto nul = text.find(u'\0'); nul != text.npos) text = text.substr(0, nul);
  if (text.size() >= static_cast<std::size_t>(MAX_PATH)) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  if (text.empty()) return ERROR_PATH_NOT_FOUND;

  // Split into the raw names first so that the last one is known.
  std::vector<std::u16string_view> raw;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || IsSeparator(text[i])) {
      if (i > start) raw.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }

  FilePath path;
  path.trailingSeparator_ = IsSeparator(text.back()) && !raw.empty();
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const std::u16string_view name = raw[i];
    if (name == u".") continue;
    if (name == u"..") {
      if (!path.names_.empty()) path.names_.pop_back();
      continue;
    }
    const bool last = i + 1 == raw.size();
    if (DWORD error = CheckName(name, kind == Kind::kPattern && last);
        error != ERROR_SUCCESS) {
      return error;
    }
    path.names_.emplace_back(name);
  }
  if (path.ToString().size() >= static_cast<std::size_t>(MAX_PATH)) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  *out = std::move(path);
  return ERROR_SUCCESS;
}

std::span<const std::u16string> FilePath::DirectoryNames() const {
  std::span<const std::u16string> all(names_);
  return names_.empty() ? all : all.first(names_.size() - 1);
}

std::u16string FilePath::Leaf() const {
  return names_.empty() ? std::u16string() : names_.back();
}

std::u16string FilePath::ToString() const {
  if (names_.empty()) return u"\\";
  std::u16string out;
  for (const auto& name : names_) {
    out += u'\\';
    out += name;
  }
  return out;
}

}  // namespace device
