// The one object that lives for a whole conversation: it owns the object
// model's application object (logged on) and the reply buffer that every
// packet's handler borrows.
#ifndef VORN_AGENT_SESSION_CE_API_MGR_H_
#define VORN_AGENT_SESSION_CE_API_MGR_H_

#include <memory>

#include "agent/session/allocation.h"
#include "platform/pimstore.h"
#include "platform/types.h"

namespace agent {

class CeApiMgr {
 public:
  // Allocates the reply buffer; no object model yet.
  CeApiMgr();
  CeApiMgr(const CeApiMgr&) = delete;
  CeApiMgr& operator=(const CeApiMgr&) = delete;
  // Logs off and releases the application object when there is one, lets
  // COM unload unused servers, frees the reply buffer. COM is not left.
  virtual ~CeApiMgr();

  // Starts the object model: COM, the "Outlook" switch in the registry, the
  // application object (registering its server once when creation fails),
  // logon. Returns 1 when started (at once if started before), 0 after
  // showing the failure in a message box.
  int Start();

  IPOutlookApp* app = nullptr;
  Buffer replyBuffer;
};

}  // namespace agent

#endif  // VORN_AGENT_SESSION_CE_API_MGR_H_
