// An open file of the handheld: the kernel object behind a handle that
// CreateFileW hands out. Closing the handle (CloseHandle) destroys it and
// ends its open, so that other opens no longer meet its sharing mode. The
// contents live in the image and are written through at once, so nothing
// else is left to finish.
#ifndef VORN_DEVICE_FS_FILE_HANDLE_H_
#define VORN_DEVICE_FS_FILE_HANDLE_H_

#include <cstdint>
#include <memory>

#include "device/fs/file_open_set.h"
#include "device/image/handle_table.h"
#include "platform/types.h"

namespace device {

class FileHandle final : public KernelObject {
 public:
  // Records the open in `opens` (shared, so the handle may outlive the file
  // system that made it).
  FileHandle(std::shared_ptr<FileOpenSet> opens, std::uint32_t oid,
             DWORD access, DWORD share);
  ~FileHandle() override;

  std::uint32_t oid() const { return oid_; }
  bool CanRead() const;
  bool CanWrite() const;
  std::uint64_t position() const { return position_; }
  void set_position(std::uint64_t position) { position_ = position; }

 private:
  std::shared_ptr<FileOpenSet> opens_;
  std::uint64_t ticket_;
  std::uint32_t oid_;
  DWORD access_;
  std::uint64_t position_ = 0;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_HANDLE_H_
