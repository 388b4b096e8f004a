#include "device/fs/file_open_set.h"

#include "platform/objstore_types.h"

namespace device {

bool FileOpenSet::Allows(std::uint32_t oid, DWORD access, DWORD share) const {
  for (const auto& [ticket, open] : opens_) {
    if (open.oid != oid) continue;
    if ((access & GENERIC_READ) && !(open.share & FILE_SHARE_READ))
      return false;
    if ((access & GENERIC_WRITE) && !(open.share & FILE_SHARE_WRITE)) {
      return false;
    }
    if ((open.access & GENERIC_READ) && !(share & FILE_SHARE_READ))
      return false;
    if ((open.access & GENERIC_WRITE) && !(share & FILE_SHARE_WRITE)) {
      return false;
    }
  }
  return true;
}

bool FileOpenSet::IsOpen(std::uint32_t oid) const {
  for (const auto& [ticket, open] : opens_) {
    if (open.oid == oid) return true;
  }
  return false;
}

std::uint64_t FileOpenSet::Add(std::uint32_t oid, DWORD access, DWORD share) {
  const std::uint64_t ticket = next_++;
  opens_.emplace(ticket, Open{oid, access, share});
  return ticket;
}

void FileOpenSet::Remove(std::uint64_t ticket) { opens_.erase(ticket); }

}  // namespace device
