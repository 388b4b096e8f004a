// Buffers whose size a request dictates (a packet, a file piece).
//
// The handheld allocates them at the size asked for without checking the
// result, so a size it cannot satisfy ends the conversation as a fault does.
// Here every size above kMaxAllocation counts as one the handheld could not
// satisfy: 16 MiB is far above any packet a desktop sends (the reply buffer
// is 216 KiB) and well beyond a handheld's free memory.
#ifndef VORN_AGENT_SESSION_ALLOCATION_H_
#define VORN_AGENT_SESSION_ALLOCATION_H_

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/fault.h"
#include "platform/types.h"

namespace agent {

inline constexpr DWORD kMaxAllocation = 16U * 1024U * 1024U;

struct FreeBuffer {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};
using Buffer = std::unique_ptr<BYTE[], FreeBuffer>;

// A zero-filled buffer of `size` bytes (at least one). It comes from calloc:
// pages fresh from the system are zero already and are not touched until
// used, so a large buffer of which a conversation writes a few bytes costs
// only those bytes.
inline Buffer ZeroedBuffer(std::size_t size) {
  Buffer buffer(static_cast<BYTE*>(std::calloc(size == 0 ? 1 : size, 1)));
  if (!buffer) {
    throw platform::Fault("allocation of " + std::to_string(size) +
                          " bytes failed");
  }
  return buffer;
}

// A zero-filled buffer of `size` bytes; a fault above kMaxAllocation.
inline Buffer AllocateBuffer(DWORD size) {
  if (size > kMaxAllocation) {
    throw platform::Fault("allocation of " + std::to_string(size) +
                          " bytes failed");
  }
  return ZeroedBuffer(size);
}

}  // namespace agent

#endif  // VORN_AGENT_SESSION_ALLOCATION_H_
