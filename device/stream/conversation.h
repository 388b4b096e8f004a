// One invocation of the agent's entry point on the emulated handheld: what
// the remote API server does when a desktop connects in stream mode.
#ifndef VORN_DEVICE_STREAM_CONVERSATION_H_
#define VORN_DEVICE_STREAM_CONVERSATION_H_

#include <cstdint>
#include <span>
#include <vector>

#include "device/device.h"
#include "device/stream/byte_channel.h"
#include "platform/rapi.h"

namespace device {

// Begins a conversation on `device`, installs its services, hands a new
// RapiStream over `channel` to `entry` as the remote API server calls a
// function in stream mode, entry(0, NULL, &cb, &out, stream) (output the
// call leaves in its slots is freed unsent),
// commits the changes still open when `entry` returns, ends the
// conversation and returns what `entry` returned. The stream's references
// are dropped afterwards even if `entry` kept one (as it does when its
// session fails to start). Exceptions from `entry` or the image pass
// through after the open changes were rolled back and the conversation
// ended.
HRESULT RunConversation(Device& device, ByteChannel& channel,
                        RapiStreamEntryPoint entry);

// The same with `services` installed instead of the device's own: a test
// wraps one service of the device to change one call and passes the rest
// through.
HRESULT RunConversation(Device& device, ByteChannel& channel,
                        RapiStreamEntryPoint entry,
                        const platform::Services& services);

// One invocation in buffer mode: `entry` gets a copy of `input` and an
// output slot, and a stream through which nothing flows (on the handheld the
// stream argument is null): its Read and Write fault, as a call through the
// null pointer does, and its Release does nothing. Commits what the call
// changed, copies the output the call allocated with LocalAlloc into
// `output` and frees it. The input copy stays the caller's (on the handheld
// the callee would free it; the agent never does). Returns what `entry`
// returned; exceptions pass through as in RunConversation.
HRESULT RunBufferCall(Device& device, RapiStreamEntryPoint entry,
                      std::span<const std::uint8_t> input,
                      std::vector<std::uint8_t>* output);

}  // namespace device

#endif  // VORN_DEVICE_STREAM_CONVERSATION_H_
