#include "agent/notes/note_files.h"

#include <string>

#include "platform/fault.h"

namespace agent {
namespace {

// The handheld's formatter stops at 1024 characters.
constexpr std::size_t kFormatLimit = 1024;
// A walk that keeps failing with another error than ERROR_NO_MORE_FILES
// would repeat the same entry for ever on the handheld; here it ends as a
// fault after this many repeats.
constexpr int kMaxRepeats = 65536;

DWORD g_counter = 1;

OwnedString Owned(std::u16string_view text) {
  OwnedString owned(new WCHAR[text.size() + 1]());
  text.copy(owned.get(), text.size());
  return owned;
}

std::u16string Decimal(DWORD value) {
  auto number = static_cast<std::int64_t>(static_cast<LONG>(value));
  std::string digits = std::to_string(number);
  return std::u16string(digits.begin(), digits.end());
}

// "\My Documents\NAME.pwi", cut as the formatter cuts.
OwnedString NotePath(std::u16string_view name) {
  std::u16string path = u"\\";
  path += kNotesDirectory;
  path += u"\\";
  path += name;
  path += u".";
  path += kNoteExtension;
  if (path.size() > kFormatLimit) path.resize(kFormatLimit);
  return Owned(path);
}

bool Exists(LPCWSTR path, HANDLE* search) {
  WIN32_FIND_DATAW found = {};
  *search = FindFirstFileW(path, &found);
  return *search != INVALID_HANDLE_VALUE;
}

}  // namespace

DWORD NoteCounter() { return g_counter; }

OwnedString NotePathFromOid(CEOID oid) {
  CEGUID volume = {};
  CEOIDINFO info = {};
  if (CeOidGetInfoEx(&volume, oid, &info) == FALSE ||
      info.wObjType != OBJTYPE_FILE) {
    return nullptr;
  }
  const WCHAR* name = info.infFile.szFileName;
  std::size_t length = 0;
  while (length < MAX_PATH && name[length] != 0) ++length;
  // Room for twice the name, as the handheld allocates it.
  OwnedString path(new WCHAR[2 * length + 1]());
  std::u16string_view(name, length).copy(path.get(), length);
  return path;
}

void NoteOidFromPath(LPCWSTR path, CEOID& oid) {
  WIN32_FIND_DATAW found = {};
  HANDLE search = FindFirstFileW(path, &found);
  if (search == INVALID_HANDLE_VALUE) return;
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    oid = found.dwOID;
  }
  FindClose(search);
}

OwnedString NoteTitleFromPath(LPCWSTR path) {
  if (path == nullptr) throw platform::Fault("note title of no path");
  std::u16string_view text(path, wcslen(path));
  std::size_t slash = text.rfind(u'\\');
  std::size_t start = slash == std::u16string_view::npos ? 0 : slash + 1;
  std::size_t dot = text.rfind(u'.');
  std::size_t end = dot == std::u16string_view::npos
                        ? (text.empty() ? 0 : text.size() - 1)
                        : dot;
  if (end < start) end = start;  // a dot in a directory name only
  return Owned(text.substr(start, end - start));
}

OwnedString ComposeNotePath(WCHAR* title) {
  static constexpr WCHAR kForbidden[] = {
      u'\\', u'/', u'"', u'<', u'>', u'.', u':', u'|', u'?', u'*', 13, 10, 9};
  std::u16string base;
  OwnedString path;
  if (title != nullptr) {
    for (WCHAR forbidden : kForbidden) {
      for (WCHAR* c = title; *c != 0; ++c) {
        if (*c == forbidden) *c = u'_';
      }
    }
    base = title;
    path = NotePath(base);
  } else {
    base = kUntitledNote;
    path = NotePath(base + Decimal(g_counter));
    ++g_counter;
  }
  HANDLE search = INVALID_HANDLE_VALUE;
  if (!Exists(path.get(), &search)) return path;
  while (search != INVALID_HANDLE_VALUE) {
    path = NotePath(base + u"_" + Decimal(g_counter));
    FindClose(search);
    Exists(path.get(), &search);
    ++g_counter;
  }
  return path;
}

void ForEachNoteFile(NoteWalk walk,
                     void (*visit)(const WIN32_FIND_DATAW& found,
                                   void* context),
                     void* context) {
  std::u16string pattern = u"\\";
  pattern += kNotesDirectory;
  pattern += u"\\*.";
  pattern += kNoteExtension;
  WIN32_FIND_DATAW found = {};
  HANDLE search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  int repeats = 0;
  for (;;) {
    DWORD skipped = walk == NoteWalk::kSkipReadOnly ? FILE_ATTRIBUTE_READONLY
                                                    : FILE_ATTRIBUTE_DIRECTORY;
    if ((found.dwFileAttributes & skipped) == 0) visit(found, context);
    if (FindNextFileW(search, &found) != FALSE) {
      repeats = 0;
      continue;
    }
    if (walk == NoteWalk::kSkipDirectories) break;
    if (GetLastError() == ERROR_NO_MORE_FILES) break;
    if (++repeats == kMaxRepeats) {
      FindClose(search);
      throw platform::Fault("note walk repeats one entry for ever");
    }
  }
  FindClose(search);
}

}  // namespace agent
