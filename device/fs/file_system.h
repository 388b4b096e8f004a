// The handheld's file system, kept entirely inside the device image: no
// device path ever reaches a host path (FilePath lists the rules).
//
// Names compare without regard to case, under the root "\"; '/' separates
// names as '\' does. Every file and directory has an object identifier from
// the object store's space. Open files and searches are objects of the
// kernel's handle table; CloseHandle ends an open file, FindClose a search.
//
// Last errors: a failing call sets the handheld's code. CreateFileW sets
// ERROR_ALREADY_EXISTS when OPEN_ALWAYS or CREATE_ALWAYS met an existing file
// and 0 on every other success. Other calls leave the last error alone when
// they succeed, except that SetFilePointer and GetFileSize set 0 when the
// value they return is 0xFFFFFFFF (so that it can be told from a failure).
// Overlapped I/O is not offered: a non-null overlapped argument fails with
// ERROR_INVALID_PARAMETER.
#ifndef VORN_DEVICE_FS_FILE_SYSTEM_H_
#define VORN_DEVICE_FS_FILE_SYSTEM_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "device/fs/file_open_set.h"
#include "device/fs/file_path.h"
#include "device/fs/file_table.h"
#include "device/image/device_context.h"
#include "platform/services.h"

namespace device {

class FileHandle;

class FileSystem final : public platform::FileSystem {
 public:
  // Creates the file system's tables in the context's image when missing and,
  // on the first use of an image, "\My Documents", "\Windows" and "\Temp".
  explicit FileSystem(DeviceContext& context);
  FileSystem(const FileSystem&) = delete;
  FileSystem& operator=(const FileSystem&) = delete;

#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_FILE_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

  // Fills `info` for the file (OBJTYPE_FILE, CEFILEINFO with the full path)
  // or directory (OBJTYPE_DIRECTORY, CEDIRINFO) `oid` and returns TRUE.
  // Returns FALSE and leaves `info` and the last error alone for any other
  // OID (the object store answers those).
  BOOL GetOidInfo(CEOID oid, CEOIDINFO* info);

 private:
  // A path looked up: the directory that holds its last name (0 = root) and
  // the entry of that name, if any.
  struct Lookup {
    FilePath path;
    std::uint32_t directory = 0;
    std::optional<FileNode> node;
  };
  // Parses and looks up `text`. Returns ERROR_SUCCESS, or the code of a bad
  // path, a missing directory on the way (ERROR_PATH_NOT_FOUND) or a file
  // named with a trailing separator (ERROR_INVALID_NAME).
  DWORD Resolve(LPCWSTR text, Lookup* out);
  DWORD SetError(DWORD error);
  // The checks ReadFile and WriteFile share: clears *done, and returns the
  // open file of `file` with `write` (or read) access and its entry, or
  // nullopt after setting the last error.
  std::optional<std::pair<FileHandle*, FileNode>> OpenForTransfer(
      HANDLE file, const void* buffer, DWORD count, DWORD* done,
      void* overlapped, bool write);
  void FillFindData(const FileNode& node, WIN32_FIND_DATAW* found);

  DeviceContext& context_;
  FileTable table_;
  std::shared_ptr<FileOpenSet> opens_;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_SYSTEM_H_
