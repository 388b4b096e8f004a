// One invocation of the agent's entry point on the emulated handheld: what
// the remote API server does when a desktop connects in stream mode.
#ifndef VORN_DEVICE_STREAM_CONVERSATION_H_
#define VORN_DEVICE_STREAM_CONVERSATION_H_

#include "device/device.h"
#include "device/stream/byte_channel.h"
#include "platform/rapi.h"

namespace device {

// Begins a conversation on `device`, installs its services, hands a new
// RapiStream over `channel` to `entry` (only the stream argument is set),
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

}  // namespace device

#endif  // VORN_DEVICE_STREAM_CONVERSATION_H_
