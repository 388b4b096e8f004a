#include "tests/support/device_files.h"

#include <algorithm>

#include "device/fs/file_system.h"

namespace testing_support {

std::uint32_t DeviceFiles::Put(const std::u16string& path,
                               const Bytes& content) {
  device::FileSystem& files = device_.files();
  HANDLE file = files.CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) return 0;
  DWORD done = 0;
  BOOL written = files.WriteFile(
      file, content.data(), static_cast<DWORD>(content.size()), &done, nullptr);
  device_.handles().Close(file);
  return written != FALSE ? OidOf(path) : 0;
}

std::optional<Bytes> DeviceFiles::Get(const std::u16string& path) {
  device::FileSystem& files = device_.files();
  HANDLE file =
      files.CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  Bytes all;
  std::uint8_t piece[4096];
  DWORD done = 0;
  while (files.ReadFile(file, piece, sizeof(piece), &done, nullptr) != FALSE &&
         done > 0) {
    all.insert(all.end(), piece, piece + done);
  }
  device_.handles().Close(file);
  return all;
}

std::uint32_t DeviceFiles::OidOf(const std::u16string& path) {
  WIN32_FIND_DATAW found = {};
  HANDLE search = device_.files().FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return 0;
  device_.files().FindClose(search);
  return found.dwOID;
}

std::vector<std::u16string> DeviceFiles::Names(
    const std::u16string& directory) {
  std::vector<std::u16string> names;
  WIN32_FIND_DATAW found = {};
  std::u16string pattern = directory + u"\\*";
  HANDLE search = device_.files().FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    names.emplace_back(found.cFileName);
  } while (device_.files().FindNextFileW(search, &found) != FALSE);
  device_.files().FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

bool DeviceFiles::SetReadOnly(const std::u16string& path) {
  return device_.files().SetFileAttributesW(path.c_str(),
                                            FILE_ATTRIBUTE_READONLY) != FALSE;
}

bool DeviceFiles::Rename(const std::u16string& from, const std::u16string& to) {
  return device_.files().MoveFileW(from.c_str(), to.c_str()) != FALSE;
}

bool DeviceFiles::Remove(const std::u16string& path) {
  return device_.files().DeleteFileW(path.c_str()) != FALSE;
}

bool DeviceFiles::MakeDirectory(const std::u16string& path) {
  return device_.files().CreateDirectoryW(path.c_str(), nullptr) != FALSE;
}

std::u16string NotePath(const std::u16string& name) {
  return u"\\My Documents\\" + name;
}

Bytes NoteProp(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}

Bytes ListHeader(std::uint32_t count, std::uint8_t propCount) {
  return Cat({Bytes{1, 0}, LE32(count), Bytes{propCount}});
}

Bytes ChangeEntry(std::uint32_t oid, std::uint8_t kind) {
  return Cat({LE32(oid), Bytes{kind}});
}

}  // namespace testing_support
