// The loader of the handheld's messaging library "CEMAPI.DLL". The library
// is loaded with LoadLibraryW on first use and its module handle kept for
// the life of the process (never freed); each call resolves its export
// again with GetProcAddressW.
//
// HRESULT from the last error: e = GetLastError(); e itself when it is
// below 1 as a signed number, else (e AND 0xFFFF) OR 0x80070000.
#ifndef VORN_AGENT_MAIL_MAPI_CE_MAPI_LOADER_H_
#define VORN_AGENT_MAIL_MAPI_CE_MAPI_LOADER_H_

#include "platform/mapi.h"

namespace agent {

class CeMapiLoader {
 public:
  // "MAPILogonEx". The load's result is not looked at; a missing export
  // gives the HRESULT from the last error and leaves *session as it was.
  static HRESULT Logon(ULONG uiParam, LPWSTR profileName, LPWSTR password,
                       ULONG flags, IMAPISession** session);
  // "MAPIFreeBuffer". A failed load or a missing export gives the HRESULT
  // from the last error.
  static HRESULT FreeBuffer(void* buffer);
  // "FreeProws". A failed load gives the HRESULT from the last error; a
  // missing export returns 0 and frees nothing.
  static HRESULT FreeRows(SRowSet* rows);

  static HRESULT HresultFromLastError();

 private:
  // Loads the library when it is not loaded yet; the module or 0.
  static HMODULE Load();
  static HMODULE module_;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_CE_MAPI_LOADER_H_
