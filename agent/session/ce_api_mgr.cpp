#include "agent/session/ce_api_mgr.h"

#include "agent/handler/message_box.h"
#include "platform/api.h"
#include "protocol/wire.h"

namespace agent {
namespace {

constexpr WCHAR kOutlookKey[] = u"SOFTWARE\\Microsoft\\Pim\\Outlook";
constexpr WCHAR kOutlookValue[] = u"Outlook";

// Turns the object model on when the registry says it is off (0). A missing
// key or value is left alone; a failed write is ignored.
void EnableOutlookSwitch() {
  HKEY key = 0;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kOutlookKey, 0, KEY_READ, &key) !=
      ERROR_SUCCESS) {
    return;
  }
  BYTE data[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  DWORD type = 0;
  DWORD size = sizeof(data);
  LONG read = RegQueryValueExW(key, kOutlookValue, nullptr, &type, data, &size);
  RegCloseKey(key);
  if (read != ERROR_SUCCESS || protocol::GetU32(data) != 0) return;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kOutlookKey, 0, KEY_ALL_ACCESS, &key) !=
      ERROR_SUCCESS) {
    return;
  }
  BYTE one[4];
  protocol::PutU32(one, 1);
  RegSetValueExW(key, kOutlookValue, 0, REG_DWORD, one, sizeof(one));
  RegCloseKey(key);
}

// Registers the object model's server. A library that does not load or an
// export that is missing counts as E_FAIL.
HRESULT RegisterObjectModel() {
  HMODULE module = LoadLibraryW(u"pimstore.dll");
  if (module == 0) return E_FAIL;
  HRESULT result = E_FAIL;
  FARPROC registerServer = GetProcAddressW(module, u"DllRegisterServer");
  if (registerServer != nullptr) result = registerServer();
  FreeLibrary(module);
  return result;
}

HRESULT CreateApplication(IPOutlookApp** app) {
  void* object = nullptr;
  HRESULT result =
      CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER,
                       IID_IPOutlookApp, &object);
  *app = SUCCEEDED(result) ? static_cast<IPOutlookApp*>(object) : nullptr;
  return result;
}

}  // namespace

CeApiMgr::CeApiMgr() : replyBuffer(ZeroedBuffer(protocol::kReplyBufferSize)) {}

CeApiMgr::~CeApiMgr() {
  if (app != nullptr) {
    app->Logoff();
    app->Release();
    CoFreeUnusedLibraries();
  }
}

int CeApiMgr::Start() {
  if (app != nullptr) return 1;
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  EnableOutlookSwitch();
  if (FAILED(CreateApplication(&app))) {
    if (FAILED(RegisterObjectModel())) {
      ShowMessage(u"RegisterPOOM failed", kErrorCaption);
      return 0;
    }
    if (FAILED(CreateApplication(&app))) {
      ShowMessage(u"CoCreateInstance failed", kErrorCaption);
      return 0;
    }
  }
  if (FAILED(app->Logon(0))) {
    ShowMessage(u"Logon failed", kErrorCaption);
    return 0;
  }
  return 1;
}

}  // namespace agent
