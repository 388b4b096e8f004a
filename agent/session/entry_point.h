// The agent's one exported function, called by the desktop through the
// remote API in stream mode. Only pStream is used: the conversation runs on
// it until the desktop ends the session. Returns S_OK after a session that
// started (however it ended) and E_FAIL when the session could not start;
// nothing is written on the stream then.
#ifndef VORN_AGENT_SESSION_ENTRY_POINT_H_
#define VORN_AGENT_SESSION_ENTRY_POINT_H_

#include "platform/rapi.h"
#include "platform/types.h"

extern "C" HRESULT rsCeApiMgr(DWORD cbInput, BYTE* pInput, DWORD* pcbOutput,
                              BYTE** ppOutput, IRAPIStream* pStream);

#endif  // VORN_AGENT_SESSION_ENTRY_POINT_H_
