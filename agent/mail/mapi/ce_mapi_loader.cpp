#include "agent/mail/mapi/ce_mapi_loader.h"

#include "platform/api.h"

namespace agent {

HMODULE CeMapiLoader::module_ = 0;

HMODULE CeMapiLoader::Load() {
  if (module_ == 0) module_ = LoadLibraryW(u"CEMAPI.DLL");
  return module_;
}

HRESULT CeMapiLoader::HresultFromLastError() {
  DWORD error = GetLastError();
  if (static_cast<LONG>(error) < 1) return static_cast<HRESULT>(error);
  return static_cast<HRESULT>((error & 0xFFFFU) | 0x80070000U);
}

HRESULT CeMapiLoader::Logon(ULONG uiParam, LPWSTR profileName, LPWSTR password,
                            ULONG flags, IMAPISession** session) {
  HMODULE module = Load();
  FARPROC logon = GetProcAddressW(module, u"MAPILogonEx");
  if (logon == nullptr) return HresultFromLastError();
  return platform::FromFarProc<LPMAPILOGONEX>(logon)(uiParam, profileName,
                                                     password, flags, session);
}

HRESULT CeMapiLoader::FreeBuffer(void* buffer) {
  HMODULE module = Load();
  if (module == 0) return HresultFromLastError();
  FARPROC free = GetProcAddressW(module, u"MAPIFreeBuffer");
  if (free == nullptr) return HresultFromLastError();
  return static_cast<HRESULT>(
      platform::FromFarProc<LPMAPIFREEBUFFER>(free)(buffer));
}

HRESULT CeMapiLoader::FreeRows(SRowSet* rows) {
  HMODULE module = Load();
  if (module == 0) return HresultFromLastError();
  FARPROC free = GetProcAddressW(module, u"FreeProws");
  if (free == nullptr) return 0;
  platform::FromFarProc<LPFREEPROWS>(free)(rows);
  return S_OK;
}

}  // namespace agent
