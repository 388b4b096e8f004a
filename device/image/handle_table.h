// The handheld's kernel handle table. Every open database, file, search and
// registry key is an object here; its handle is what the platform call hands
// out. CloseHandle (and RegCloseKey, FindClose) end the object's life.
#ifndef VORN_DEVICE_IMAGE_HANDLE_TABLE_H_
#define VORN_DEVICE_IMAGE_HANDLE_TABLE_H_

#include <cstdint>
#include <map>
#include <memory>

#include "platform/types.h"

namespace device {

class KernelObject {
 public:
  KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;
  virtual ~KernelObject() = default;
};

class HandleTable {
 public:
  HandleTable() = default;
  HandleTable(const HandleTable&) = delete;
  HandleTable& operator=(const HandleTable&) = delete;

  // Takes ownership of `object` and returns its new handle (never 0 and
  // never INVALID_HANDLE_VALUE; handles are not reused).
  HANDLE Add(std::unique_ptr<KernelObject> object);

  // The object of `handle` if it is open and of type T, else null.
  template <typename T>
  T* Get(HANDLE handle) const {
    auto it = objects_.find(handle);
    return it == objects_.end() ? nullptr : dynamic_cast<T*>(it->second.get());
  }

  // Destroys the object of `handle`. False when the handle is not open.
  bool Close(HANDLE handle);

  // Destroys every object (end of a conversation's process).
  void CloseAll() { objects_.clear(); }
  std::size_t OpenCount() const { return objects_.size(); }

 private:
  std::map<HANDLE, std::unique_ptr<KernelObject>> objects_;
  HANDLE next_ = 0x100;
};

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_HANDLE_TABLE_H_
