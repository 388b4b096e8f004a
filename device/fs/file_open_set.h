// The files that are open on the handheld, with the access and sharing each
// open asked for; decides sharing violations.
#ifndef VORN_DEVICE_FS_FILE_OPEN_SET_H_
#define VORN_DEVICE_FS_FILE_OPEN_SET_H_

#include <cstdint>
#include <map>

#include "platform/types.h"

namespace device {

class FileOpenSet {
 public:
  FileOpenSet() = default;
  FileOpenSet(const FileOpenSet&) = delete;
  FileOpenSet& operator=(const FileOpenSet&) = delete;

  // True when a new open of `oid` with `access` (GENERIC_READ/WRITE bits)
  // and `share` (FILE_SHARE_READ/WRITE bits) fits with every open of it: it
  // must share what the others use and use only what the others share.
  bool Allows(std::uint32_t oid, DWORD access, DWORD share) const;
  // True when `oid` has at least one open.
  bool IsOpen(std::uint32_t oid) const;
  // Records an open; the ticket ends it with Remove().
  std::uint64_t Add(std::uint32_t oid, DWORD access, DWORD share);
  void Remove(std::uint64_t ticket);

 private:
  struct Open {
    std::uint32_t oid;
    DWORD access;
    DWORD share;
  };
  std::map<std::uint64_t, Open> opens_;
  std::uint64_t next_ = 1;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_OPEN_SET_H_
