// What every object the object model hands out shares: a reference count
// and a place in its application's pool. The application owns the memory;
// a release past zero is recorded by the application and frees nothing.
#ifndef VORN_DEVICE_PIM_PIM_OBJECT_H_
#define VORN_DEVICE_PIM_PIM_OBJECT_H_

#include "platform/com.h"
#include "platform/types.h"

namespace device {

class OutlookApp;

// {00000000-0000-0000-C000-000000000046}
inline constexpr IID kIidUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {00020400-0000-0000-C000-000000000046}
inline constexpr IID kIidDispatch = {
    0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// QueryInterface of an object that answers only IUnknown and IDispatch.
template <typename T>
HRESULT QueryDispatch(T* self, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == kIidUnknown || iid == kIidDispatch) {
    self->AddRef();
    *object = static_cast<IDispatch*>(self);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

class PimObject {
 public:
  // Starts with one reference, the caller's. `app` outlives the object.
  explicit PimObject(OutlookApp& app) : app_(app) {}
  PimObject(const PimObject&) = delete;
  PimObject& operator=(const PimObject&) = delete;
  virtual ~PimObject() = default;

  ULONG references() const { return references_; }

 protected:
  ULONG AddReference() { return ++references_; }
  // The count left; a release at zero is recorded and returns 0.
  ULONG ReleaseReference();
  // Called once the count has dropped to zero: the object may give back
  // memory it holds (the pool keeps the object itself).
  virtual void OnReleased() {}

  OutlookApp& app_;

 private:
  ULONG references_ = 1;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_OBJECT_H_
