#include "agent/session/entry_point.h"

#include <new>

#include "agent/session/ce_api_mgr.h"
#include "agent/session/session_loop.h"
#include "platform/fault.h"

namespace {

// The session object. It is created when the entry point finds none and
// deleted at the end of every started session. The handheld never clears its
// pointer after the deletion, so a second call in the same loaded module
// would use a freed object; here the pointer is cleared with the deletion
// and a second call builds a new session object. A session that failed to
// start keeps its object, as on the handheld: the next call starts it again
// (and finds the application object of a failed logon still set).
agent::CeApiMgr* g_session = nullptr;

}  // namespace

extern "C" HRESULT rsCeApiMgr(DWORD /*cbInput*/, BYTE* /*pInput*/,
                              DWORD* /*pcbOutput*/, BYTE** /*ppOutput*/,
                              IRAPIStream* pStream) {
  try {
    if (g_session == nullptr) g_session = new agent::CeApiMgr();
    if (g_session->Start() == 0) return E_FAIL;
    agent::RunSessionLoop(*g_session, pStream);
  } catch (const platform::Fault&) {
    // The guard of the whole session: the packet being served gets no reply
    // and the session ends here.
  } catch (const std::bad_alloc&) {
    // An allocation that failed faults the same way on the handheld.
  }
  pStream->Release();
  delete g_session;
  g_session = nullptr;
  return S_OK;
}
