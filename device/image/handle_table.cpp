#include "device/image/handle_table.h"

namespace device {

HANDLE HandleTable::Add(std::unique_ptr<KernelObject> object) {
  HANDLE handle = next_;
  next_ += 4;
  objects_.emplace(handle, std::move(object));
  return handle;
}

bool HandleTable::Close(HANDLE handle) { return objects_.erase(handle) == 1; }

}  // namespace device
