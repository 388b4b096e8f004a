#include "device/stream/conversation.h"

#include "device/stream/rapi_stream.h"

namespace device {
namespace {

// Drops every reference still held on `stream`, which deletes it.
void DropStream(RapiStream* stream) {
  while (stream->Release() > 0) {
  }
}

}  // namespace

HRESULT RunConversation(Device& device, ByteChannel& channel,
                        RapiStreamEntryPoint entry) {
  return RunConversation(device, channel, entry, device.services());
}

HRESULT RunConversation(Device& device, ByteChannel& channel,
                        RapiStreamEntryPoint entry,
                        const platform::Services& installed) {
  device.BeginConversation();
  HRESULT result = E_FAIL;
  {
    ScopedServices services(installed);
    auto* stream = new RapiStream(channel, device.image());
    // The conversation's own reference keeps the stream alive until the
    // entry point has returned, whether or not it released its own.
    stream->AddRef();
    try {
      result = entry(0, nullptr, nullptr, nullptr, stream);
    } catch (...) {
      DropStream(stream);
      device.image().Rollback();
      device.EndConversation();
      throw;
    }
    DropStream(stream);
  }
  device.image().Commit();
  device.EndConversation();
  return result;
}

}  // namespace device
