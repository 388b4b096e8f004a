// The reference counting every emulated MAPI object shares. Objects live in
// the pool of their Mapi until the conversation ends, so a pointer the
// caller released once too often still names an object; releases past zero
// are counted instead of freeing twice. When the count reaches zero the
// object drops what it loaded (OnLastRelease).
#ifndef VORN_DEVICE_MAPI_MAPI_OBJECT_H_
#define VORN_DEVICE_MAPI_MAPI_OBJECT_H_

#include "platform/mapi.h"

namespace device {

class PooledMapiObject {
 public:
  PooledMapiObject() = default;
  PooledMapiObject(const PooledMapiObject&) = delete;
  PooledMapiObject& operator=(const PooledMapiObject&) = delete;
  virtual ~PooledMapiObject() = default;

  ULONG references() const { return references_; }
  ULONG releasesPastZero() const { return releasesPastZero_; }

 protected:
  ULONG AddReference() { return ++references_; }
  ULONG DropReference() {
    if (references_ == 0) {
      ++releasesPastZero_;
      return 0;
    }
    if (--references_ == 0) OnLastRelease();
    return references_;
  }
  virtual void OnLastRelease() {}

 private:
  ULONG references_ = 1;
  ULONG releasesPastZero_ = 0;
};

template <typename Interface>
class MapiObject : public Interface, public PooledMapiObject {
 public:
  HRESULT QueryInterface(REFIID /*iid*/, void** object) override {
    if (object != nullptr) *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return DropReference(); }
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_OBJECT_H_
