#include "device/fs/file_handle.h"

#include <utility>

#include "platform/objstore_types.h"

namespace device {

FileHandle::FileHandle(std::shared_ptr<FileOpenSet> opens, std::uint32_t oid,
                       DWORD access, DWORD share)
    : opens_(std::move(opens)),
      ticket_(opens_->Add(oid, access, share)),
      oid_(oid),
      access_(access) {}

FileHandle::~FileHandle() { opens_->Remove(ticket_); }

bool FileHandle::CanRead() const { return (access_ & GENERIC_READ) != 0; }
bool FileHandle::CanWrite() const { return (access_ & GENERIC_WRITE) != 0; }

}  // namespace device
