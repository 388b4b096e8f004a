#include "device/com/com.h"

#include "device/objstore/object_store.h"
#include "device/pim/outlook_app.h"
#include "platform/pimstore.h"

namespace device {

Com::Com(DeviceContext& context, ObjectStore& store)
    : context_(context), store_(store) {
  context_.image.Exec(
      "CREATE TABLE IF NOT EXISTS com_calls(sequence INTEGER PRIMARY KEY "
      "AUTOINCREMENT, conversation INTEGER NOT NULL, call TEXT NOT NULL, "
      "result INTEGER NOT NULL)");
}

void Com::BeginConversation(std::int64_t conversation) {
  conversation_ = conversation;
  initialized_ = false;
  creationTried_ = false;
}

void Com::Record(std::string_view call, HRESULT result) {
  context_.image
      .Cached(
          "INSERT INTO com_calls(conversation, call, result) VALUES(?, ?, ?)")
      .Bind(1, conversation_)
      .Bind(2, call)
      .Bind(3, std::int64_t{result})
      .Run();
}

HRESULT Com::CoInitializeEx(void* /*reserved*/, DWORD /*coinit*/) {
  HRESULT result = initialized_ ? S_FALSE : S_OK;
  initialized_ = true;
  Record("CoInitializeEx", result);
  return result;
}

HRESULT Com::CoCreateInstance(REFCLSID clsid, IUnknown* outer,
                              DWORD /*context*/, REFIID iid, void** object) {
  if (object == nullptr) {
    Record("CoCreateInstance", E_POINTER);
    return E_POINTER;
  }
  *object = nullptr;
  HRESULT result = S_OK;
  bool firstTry = !creationTried_;
  if (!initialized_) {
    result = CO_E_NOTINITIALIZED;
  } else if (outer != nullptr) {
    result = CLASS_E_NOAGGREGATION;
  } else if (!(clsid == CLSID_Application)) {
    result = REGDB_E_CLASSNOTREG;
  } else {
    creationTried_ = true;
    if (context_.faults.IsSet("cocreate-fails-always") ||
        (firstTry && context_.faults.IsSet("cocreate-fails"))) {
      result = REGDB_E_CLASSNOTREG;
    } else if (!(iid == IID_IPOutlookApp)) {
      result = E_NOINTERFACE;
    } else {
      auto* app = new OutlookApp(context_, store_);
      if (changeHook_) app->SetChangeHook(changeHook_);
      if (clock_) app->SetClock(clock_);
      *object = static_cast<IPOutlookApp*>(app);
    }
  }
  Record("CoCreateInstance", result);
  return result;
}

void Com::CoFreeUnusedLibraries() { Record("CoFreeUnusedLibraries", S_OK); }

}  // namespace device
