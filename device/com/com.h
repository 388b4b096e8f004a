// COM on the handheld, as far as the agent needs it: entering COM and
// creating the contacts, calendar and tasks application object.
//
// The only class is CLSID_Application with the interface IID_IPOutlookApp;
// its object is a new device::OutlookApp over the device's object store.
// Injected faults: "cocreate-fails" (the first creation in each
// conversation fails with REGDB_E_CLASSNOTREG, later ones work) and
// "cocreate-fails-always".
//
// Every call is recorded in the table com_calls(sequence, conversation,
// call, result) so that tests and `vorn-device dump` can see the order.
#ifndef VORN_DEVICE_COM_COM_H_
#define VORN_DEVICE_COM_COM_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "device/image/device_context.h"
#include "platform/pimstore.h"
#include "platform/services.h"

namespace device {

class ObjectStore;

inline constexpr HRESULT CO_E_NOTINITIALIZED =
    static_cast<HRESULT>(0x800401F0U);
inline constexpr HRESULT CLASS_E_NOAGGREGATION =
    static_cast<HRESULT>(0x80040110U);

class Com final : public platform::Com {
 public:
  // The context and the store outlive the object; objects created here
  // borrow both.
  Com(DeviceContext& context, ObjectStore& store);
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;

  // What a new invocation of the remote API server meets: COM not entered
  // on its thread, no creation tried yet.
  void BeginConversation(std::int64_t conversation);

  // Every application object created from now on reports its item changes
  // to `hook` (the handheld's change-log writer).
  void SetChangeHook(std::function<void(int, CEOID, int)> hook) {
    changeHook_ = std::move(hook);
  }

  // Every application object created from now on reads the handheld's
  // local time from `clock` (see OutlookApp::SetClock).
  void SetClock(std::function<std::optional<DATE>()> clock) {
    clock_ = std::move(clock);
  }

  // CoInitializeEx: S_OK the first time in a conversation, S_FALSE after.
  // CoCreateInstance: E_POINTER for a null `object`; otherwise *object is
  //   set (null on failure). CO_E_NOTINITIALIZED before CoInitializeEx,
  //   CLASS_E_NOAGGREGATION with an outer object, REGDB_E_CLASSNOTREG for
  //   other classes (and when a fault says so), E_NOINTERFACE for other
  //   interfaces. The object starts with one reference for the caller.
  // CoFreeUnusedLibraries: recorded; there is nothing to unload.
#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_COM_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

 private:
  void Record(std::string_view call, HRESULT result);

  DeviceContext& context_;
  ObjectStore& store_;
  std::int64_t conversation_ = 0;
  bool initialized_ = false;
  bool creationTried_ = false;
  std::function<void(int, CEOID, int)> changeHook_;
  std::function<std::optional<DATE>()> clock_;
};

}  // namespace device

#endif  // VORN_DEVICE_COM_COM_H_
