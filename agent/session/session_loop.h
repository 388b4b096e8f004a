// The conversation on the stream: request packets in, reply frames out,
// until the desktop ends the session with command 1.
#ifndef VORN_AGENT_SESSION_SESSION_LOOP_H_
#define VORN_AGENT_SESSION_SESSION_LOOP_H_

#include "agent/session/ce_api_mgr.h"
#include "platform/rapi.h"

namespace agent {

// Serves packets until one with command 1 has been answered. A fault (an
// unknown data type, a packet shorter than its contents, a length that
// cannot be allocated, a fault inside an operation) leaves by a
// platform::Fault without a reply frame for the packet being served.
void RunSessionLoop(CeApiMgr& session, IRAPIStream* stream);

// Serves one packet: builds the handler of its data type, runs the operation
// of its command and writes the reply frame. Exposed for tests.
void ServePacket(CeApiMgr& session, IRAPIStream* stream, const BYTE* packet,
                 DWORD length);

}  // namespace agent

#endif  // VORN_AGENT_SESSION_SESSION_LOOP_H_
