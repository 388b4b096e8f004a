#include "device/fs/file_system.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "device/fs/file_handle.h"
#include "device/fs/file_name.h"
#include "device/fs/file_search.h"
#include "platform/objstore_types.h"

namespace device {
namespace {

constexpr DWORD kAccessBits = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kInvalidFileSize = 0xFFFFFFFFU;
constexpr std::uint64_t kMaxFileSize = 0xFFFFFFFFULL;

FILETIME ToFileTime(std::uint64_t value) {
  return FILETIME{static_cast<DWORD>(value & 0xFFFFFFFFU),
                  static_cast<DWORD>(value >> 32)};
}

// Copies `text` and a terminating NUL into `target` of `capacity` units,
// cutting the text if it must. Units after the NUL stay as they were.
void CopyName(std::u16string_view text, WCHAR* target, std::size_t capacity) {
  const std::size_t length = std::min(text.size(), capacity - 1);
  std::copy_n(text.data(), length, target);
  target[length] = 0;
}

std::u16string Hex(std::uint32_t value) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string out;
  do {
    out.insert(out.begin(), kDigits[value % 16]);
    value /= 16;
  } while (value != 0);
  return out;
}

}  // namespace

FileSystem::FileSystem(DeviceContext& context)
    : context_(context),
      table_(context.image),
      opens_(std::make_shared<FileOpenSet>()) {}

DWORD FileSystem::SetError(DWORD error) {
  context_.lastError = error;
  return error;
}

DWORD FileSystem::Resolve(LPCWSTR text, Lookup* out) {
  Lookup lookup;
  if (DWORD error = FilePath::Parse(text, FilePath::Kind::kName, &lookup.path);
      error != ERROR_SUCCESS) {
    return error;
  }
  if (!lookup.path.IsRoot()) {
    auto directory = table_.FindDirectory(lookup.path.DirectoryNames());
    if (!directory) return ERROR_PATH_NOT_FOUND;
    lookup.directory = *directory;
    lookup.node = table_.Find(*directory, lookup.path.Leaf());
    if (lookup.node && !lookup.node->directory &&
        lookup.path.trailingSeparator()) {
      return ERROR_INVALID_NAME;
    }
  }
  *out = std::move(lookup);
  return ERROR_SUCCESS;
}

HANDLE FileSystem::CreateFileW(LPCWSTR path, DWORD access, DWORD share,
                               void* /*security: not kept*/, DWORD creation,
                               DWORD flags, HANDLE /*templateFile: ignored*/) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    SetError(error);
    return INVALID_HANDLE_VALUE;
  }
  if (creation < CREATE_NEW || creation > TRUNCATE_EXISTING) {
    SetError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  access &= kAccessBits;
  if (lookup.path.IsRoot() || (lookup.node && lookup.node->directory)) {
    SetError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  if (lookup.path.trailingSeparator()) {
    SetError(ERROR_INVALID_NAME);
    return INVALID_HANDLE_VALUE;
  }

  DWORD successError = ERROR_SUCCESS;
  std::uint32_t oid = 0;
  if (lookup.node) {
    const FileNode& node = *lookup.node;
    const bool truncates =
        creation == CREATE_ALWAYS || creation == TRUNCATE_EXISTING;
    if (creation == CREATE_NEW) {
      SetError(ERROR_FILE_EXISTS);
      return INVALID_HANDLE_VALUE;
    }
    if (creation == TRUNCATE_EXISTING && !(access & GENERIC_WRITE)) {
      SetError(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
    }
    if ((node.attributes & FILE_ATTRIBUTE_READONLY) &&
        ((access & GENERIC_WRITE) || truncates)) {
      SetError(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
    if (!opens_->Allows(node.oid, access | (truncates ? GENERIC_WRITE : 0),
                        share)) {
      SetError(ERROR_SHARING_VIOLATION);
      return INVALID_HANDLE_VALUE;
    }
    if (truncates) table_.Truncate(node.oid);
    if (creation == OPEN_ALWAYS || creation == CREATE_ALWAYS) {
      successError = ERROR_ALREADY_EXISTS;
    }
    oid = node.oid;
  } else {
    if (creation == OPEN_EXISTING || creation == TRUNCATE_EXISTING) {
      SetError(ERROR_FILE_NOT_FOUND);
      return INVALID_HANDLE_VALUE;
    }
    oid = table_
              .Create(lookup.directory, lookup.path.Leaf(), false,
                      (flags & FileTable::kSettableAttributes) |
                          FILE_ATTRIBUTE_ARCHIVE)
              .oid;
  }
  HANDLE handle = context_.handles.Add(
      std::make_unique<FileHandle>(opens_, oid, access, share));
  SetError(successError);
  return handle;
}

DWORD FileSystem::SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh,
                                 DWORD method) {
  auto* open = context_.handles.Get<FileHandle>(file);
  if (open == nullptr) {
    SetError(ERROR_INVALID_HANDLE);
    return INVALID_SET_FILE_POINTER;
  }
  std::int64_t base = 0;
  switch (method) {
    case FILE_BEGIN:
      break;
    case FILE_CURRENT:
      base = static_cast<std::int64_t>(open->position());
      break;
    case FILE_END: {
      auto node = table_.Get(open->oid());
      base = node ? static_cast<std::int64_t>(node->size) : 0;
      break;
    }
    default:
      SetError(ERROR_INVALID_PARAMETER);
      return INVALID_SET_FILE_POINTER;
  }
  std::int64_t move = distance;
  if (distanceHigh != nullptr) {
    move = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(static_cast<std::uint32_t>(*distanceHigh))
         << 32) |
        static_cast<std::uint32_t>(distance));
  }
  const std::int64_t target = base + move;
  if (target < 0) {
    SetError(ERROR_NEGATIVE_SEEK);
    return INVALID_SET_FILE_POINTER;
  }
  if (distanceHigh == nullptr &&
      static_cast<std::uint64_t>(target) > kMaxFileSize) {
    SetError(ERROR_INVALID_PARAMETER);
    return INVALID_SET_FILE_POINTER;
  }
  open->set_position(static_cast<std::uint64_t>(target));
  if (distanceHigh != nullptr) {
    *distanceHigh = static_cast<LONG>(static_cast<std::uint64_t>(target) >> 32);
  }
  const auto low = static_cast<DWORD>(target & 0xFFFFFFFF);
  if (low == INVALID_SET_FILE_POINTER) SetError(ERROR_SUCCESS);
  return low;
}

std::optional<std::pair<FileHandle*, FileNode>> FileSystem::OpenForTransfer(
    HANDLE file, const void* buffer, DWORD count, DWORD* done, void* overlapped,
    bool write) {
  if (done != nullptr) *done = 0;
  auto* open = context_.handles.Get<FileHandle>(file);
  if (open == nullptr) return SetError(ERROR_INVALID_HANDLE), std::nullopt;
  if (overlapped != nullptr || done == nullptr ||
      (buffer == nullptr && count != 0)) {
    return SetError(ERROR_INVALID_PARAMETER), std::nullopt;
  }
  if (!(write ? open->CanWrite() : open->CanRead())) {
    return SetError(ERROR_ACCESS_DENIED), std::nullopt;
  }
  auto node = table_.Get(open->oid());
  if (!node) return SetError(ERROR_INVALID_HANDLE), std::nullopt;
  return std::make_pair(open, *node);
}

BOOL FileSystem::ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done,
                          void* overlapped) {
  auto opened =
      OpenForTransfer(file, buffer, count, done, overlapped, /*write=*/false);
  if (!opened) return FALSE;
  auto [open, node] = *opened;
  std::span<std::uint8_t> out(static_cast<std::uint8_t*>(buffer), count);
  const std::size_t read =
      table_.Read(node.oid, node.size, open->position(), out);
  open->set_position(open->position() + read);
  *done = static_cast<DWORD>(read);
  return TRUE;
}

BOOL FileSystem::WriteFile(HANDLE file, const void* buffer, DWORD count,
                           DWORD* done, void* overlapped) {
  auto opened =
      OpenForTransfer(file, buffer, count, done, overlapped, /*write=*/true);
  if (!opened) return FALSE;
  auto [open, node] = *opened;
  if (count == 0) return TRUE;
  if (open->position() + count > kMaxFileSize) {
    return SetError(ERROR_DISK_FULL), FALSE;
  }
  std::span<const std::uint8_t> data(static_cast<const std::uint8_t*>(buffer),
                                     count);
  table_.Write(node.oid, node.size, open->position(), data);
  open->set_position(open->position() + count);
  *done = count;
  return TRUE;
}

DWORD FileSystem::GetFileSize(HANDLE file, DWORD* sizeHigh) {
  auto* open = context_.handles.Get<FileHandle>(file);
  auto node = open ? table_.Get(open->oid()) : std::nullopt;
  if (!node) {
    SetError(ERROR_INVALID_HANDLE);
    return kInvalidFileSize;
  }
  if (sizeHigh != nullptr) *sizeHigh = static_cast<DWORD>(node->size >> 32);
  const auto low = static_cast<DWORD>(node->size & 0xFFFFFFFF);
  if (low == kInvalidFileSize) SetError(ERROR_SUCCESS);
  return low;
}

void FileSystem::FillFindData(const FileNode& node, WIN32_FIND_DATAW* found) {
  found->dwFileAttributes = node.ReportedAttributes();
  found->ftCreationTime = ToFileTime(node.created);
  found->ftLastAccessTime = ToFileTime(node.written);
  found->ftLastWriteTime = ToFileTime(node.written);
  found->nFileSizeHigh = static_cast<DWORD>(node.size >> 32);
  found->nFileSizeLow = static_cast<DWORD>(node.size & 0xFFFFFFFF);
  found->dwOID = node.oid;
  CopyName(node.name, found->cFileName, MAX_PATH);
}

HANDLE FileSystem::FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* found) {
  FilePath path;
  if (DWORD error = FilePath::Parse(pattern, FilePath::Kind::kPattern, &path);
      error != ERROR_SUCCESS) {
    SetError(error);
    return INVALID_HANDLE_VALUE;
  }
  if (found == nullptr) {
    SetError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  auto directory = table_.FindDirectory(path.DirectoryNames());
  if (!directory) {
    SetError(ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  std::vector<FileNode> matches;
  if (!path.IsRoot() && !path.trailingSeparator()) {
    const std::u16string leaf = path.Leaf();
    if (HasWildcards(leaf)) {
      for (auto& child : table_.Children(*directory)) {
        if (MatchFileName(leaf, child.name))
          matches.push_back(std::move(child));
      }
    } else if (auto node = table_.Find(*directory, leaf)) {
      matches.push_back(std::move(*node));
    }
  }
  if (matches.empty()) {
    SetError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  FillFindData(matches.front(), found);
  std::vector<std::uint32_t> oids;
  oids.reserve(matches.size());
  for (const auto& match : matches) oids.push_back(match.oid);
  return context_.handles.Add(std::make_unique<FileSearch>(std::move(oids)));
}

BOOL FileSystem::FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found) {
  auto* state = context_.handles.Get<FileSearch>(search);
  if (state == nullptr) return SetError(ERROR_INVALID_HANDLE), FALSE;
  if (found == nullptr) return SetError(ERROR_INVALID_PARAMETER), FALSE;
  while (auto oid = state->Next()) {
    if (auto node = table_.Get(*oid)) {
      FillFindData(*node, found);
      return TRUE;
    }
  }
  return SetError(ERROR_NO_MORE_FILES), FALSE;
}

BOOL FileSystem::FindClose(HANDLE search) {
  if (context_.handles.Get<FileSearch>(search) == nullptr) {
    return SetError(ERROR_INVALID_HANDLE), FALSE;
  }
  context_.handles.Close(search);
  return TRUE;
}

BOOL FileSystem::DeleteFileW(LPCWSTR path) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (lookup.path.IsRoot() || (lookup.node && lookup.node->directory)) {
    return SetError(ERROR_ACCESS_DENIED), FALSE;
  }
  if (!lookup.node) return SetError(ERROR_FILE_NOT_FOUND), FALSE;
  if (lookup.node->attributes & FILE_ATTRIBUTE_READONLY) {
    return SetError(ERROR_ACCESS_DENIED), FALSE;
  }
  if (opens_->IsOpen(lookup.node->oid)) {
    return SetError(ERROR_SHARING_VIOLATION), FALSE;
  }
  table_.Remove(lookup.node->oid);
  return TRUE;
}

BOOL FileSystem::MoveFileW(LPCWSTR from, LPCWSTR to) {
  Lookup source;
  if (DWORD error = Resolve(from, &source); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (source.path.IsRoot()) return SetError(ERROR_ACCESS_DENIED), FALSE;
  if (!source.node) return SetError(ERROR_FILE_NOT_FOUND), FALSE;
  Lookup target;
  if (DWORD error = Resolve(to, &target); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (target.path.IsRoot()) return SetError(ERROR_ALREADY_EXISTS), FALSE;
  if (target.node && target.node->oid != source.node->oid) {
    return SetError(ERROR_ALREADY_EXISTS), FALSE;
  }
  if (source.node->directory &&
      table_.IsWithin(target.directory, source.node->oid)) {
    return SetError(ERROR_ACCESS_DENIED), FALSE;
  }
  if (!source.node->directory && opens_->IsOpen(source.node->oid)) {
    return SetError(ERROR_SHARING_VIOLATION), FALSE;
  }
  table_.Move(source.node->oid, target.directory, target.path.Leaf());
  return TRUE;
}

BOOL FileSystem::CreateDirectoryW(LPCWSTR path, void* /*security*/) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (lookup.path.IsRoot() || lookup.node) {
    return SetError(ERROR_ALREADY_EXISTS), FALSE;
  }
  table_.Create(lookup.directory, lookup.path.Leaf(), true, 0);
  return TRUE;
}

BOOL FileSystem::RemoveDirectoryW(LPCWSTR path) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (lookup.path.IsRoot()) return SetError(ERROR_ACCESS_DENIED), FALSE;
  if (!lookup.node) return SetError(ERROR_FILE_NOT_FOUND), FALSE;
  if (!lookup.node->directory) return SetError(ERROR_DIRECTORY), FALSE;
  if (lookup.node->attributes & FILE_ATTRIBUTE_READONLY) {
    return SetError(ERROR_ACCESS_DENIED), FALSE;
  }
  if (table_.HasChildren(lookup.node->oid)) {
    return SetError(ERROR_DIR_NOT_EMPTY), FALSE;
  }
  table_.Remove(lookup.node->oid);
  return TRUE;
}

DWORD FileSystem::GetFileAttributesW(LPCWSTR path) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    SetError(error);
    return INVALID_FILE_ATTRIBUTES;
  }
  if (lookup.path.IsRoot()) return FILE_ATTRIBUTE_DIRECTORY;
  if (!lookup.node) {
    SetError(ERROR_FILE_NOT_FOUND);
    return INVALID_FILE_ATTRIBUTES;
  }
  return lookup.node->ReportedAttributes();
}

BOOL FileSystem::SetFileAttributesW(LPCWSTR path, DWORD attributes) {
  Lookup lookup;
  if (DWORD error = Resolve(path, &lookup); error != ERROR_SUCCESS) {
    return SetError(error), FALSE;
  }
  if (lookup.path.IsRoot()) return SetError(ERROR_ACCESS_DENIED), FALSE;
  if (!lookup.node) return SetError(ERROR_FILE_NOT_FOUND), FALSE;
  table_.SetAttributes(lookup.node->oid, attributes);
  return TRUE;
}

UINT FileSystem::GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix,
                                  UINT unique, LPWSTR result) {
  if (directory == nullptr || result == nullptr) {
    return SetError(ERROR_INVALID_PARAMETER), 0;
  }
  FilePath path;
  if (DWORD error = FilePath::Parse(directory, FilePath::Kind::kName, &path);
      error != ERROR_SUCCESS) {
    return SetError(error), 0;
  }
  std::u16string head;
  for (std::size_t i = 0; prefix != nullptr && i < 3 && prefix[i] != 0; ++i) {
    head.push_back(prefix[i]);
  }
  const std::u16string base =
      path.IsRoot() ? std::u16string(u"\\") : path.ToString() + u"\\";
  auto nameFor = [&](UINT number) {
    return base + head + Hex(number) + u".tmp";
  };
  // The prefix must make a valid name and the whole must fit MAX_PATH.
  FilePath probe;
  if (DWORD error = FilePath::Parse(
          std::u16string_view(nameFor(unique != 0 ? unique : 0xFFFFU)),
          FilePath::Kind::kName, &probe);
      error != ERROR_SUCCESS) {
    return SetError(error), 0;
  }
  if (probe.names().size() != path.names().size() + 1) {
    return SetError(ERROR_INVALID_NAME), 0;  // a separator in the prefix
  }

  UINT number = unique;
  if (unique == 0) {
    auto folder = table_.FindDirectory(path.names());
    if (!folder) return SetError(ERROR_PATH_NOT_FOUND), 0;
    // Start from the clock, as the handheld does, and take the first number
    // whose name is free.
    UINT candidate = static_cast<UINT>((FileTable::Now() / 10000) & 0xFFFF);
    bool found = false;
    for (int tries = 0; tries < 0x10000 && !found; ++tries) {
      if (candidate == 0 || candidate > 0xFFFF) candidate = 1;
      if (!table_.Find(*folder, head + Hex(candidate) + u".tmp")) {
        found = true;
      } else {
        ++candidate;
      }
    }
    if (!found) return SetError(ERROR_FILE_EXISTS), 0;
    number = candidate;
    table_.Create(*folder, head + Hex(number) + u".tmp", false,
                  FILE_ATTRIBUTE_ARCHIVE);
  }
  CopyName(nameFor(number), result, MAX_PATH);
  return number;
}

BOOL FileSystem::GetOidInfo(CEOID oid, CEOIDINFO* info) {
  if (info == nullptr) return FALSE;
  auto node = table_.Get(oid);
  if (!node) return FALSE;
  const std::u16string path = table_.FullPath(node->oid);
  if (node->directory) {
    info->wObjType = OBJTYPE_DIRECTORY;
    info->infDirectory.dwAttributes = node->ReportedAttributes();
    info->infDirectory.oidParent = node->parent;
    CopyName(path, info->infDirectory.szDirName, MAX_PATH);
  } else {
    info->wObjType = OBJTYPE_FILE;
    info->infFile.dwAttributes = node->ReportedAttributes();
    info->infFile.oidParent = node->parent;
    CopyName(path, info->infFile.szFileName, MAX_PATH);
    info->infFile.ftLastChanged = ToFileTime(node->written);
    info->infFile.dwLength = static_cast<DWORD>(node->size);
  }
  return TRUE;
}

}  // namespace device
