// The remote API's stream mode: the bidirectional stream that the desktop's
// invocation hands to the agent's entry point.
#ifndef VORN_PLATFORM_RAPI_H_
#define VORN_PLATFORM_RAPI_H_

#include "platform/com.h"
#include "platform/types.h"

class IRAPIStream : public IUnknown {
 public:
  // Reads up to `count` bytes. When the desktop has gone away the handheld's
  // remote API server tears the invocation down: the emulated stream raises a
  // platform::Fault instead of returning.
  virtual HRESULT Read(void* buffer, ULONG count, ULONG* done) = 0;
  virtual HRESULT Write(const void* buffer, ULONG count, ULONG* done) = 0;

 protected:
  ~IRAPIStream() = default;
};

// The entry point's signature in stream mode.
using RapiStreamEntryPoint = HRESULT (*)(DWORD cbInput, BYTE* pInput,
                                         DWORD* pcbOutput, BYTE** ppOutput,
                                         IRAPIStream* pStream);

#endif  // VORN_PLATFORM_RAPI_H_
