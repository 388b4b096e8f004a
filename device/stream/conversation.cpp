#include "device/stream/conversation.h"

#include "device/stream/rapi_stream.h"
#include "platform/api.h"
#include "platform/fault.h"

namespace device {
namespace {

// Drops every reference still held on `stream`, which deletes it.
void DropStream(RapiStream* stream) {
  while (stream->Release() > 0) {
  }
}

// The stream of a call in buffer mode: there is none.
class AbsentStream final : public IRAPIStream {
 public:
  HRESULT QueryInterface(REFIID /*iid*/, void** object) override {
    if (object != nullptr) *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 0; }
  ULONG Release() override { return 0; }
  HRESULT Read(void*, ULONG, ULONG*) override {
    throw platform::Fault("read from the stream of a buffer-mode call");
  }
  HRESULT Write(const void*, ULONG, ULONG*) override {
    throw platform::Fault("write to the stream of a buffer-mode call");
  }
};

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
    DWORD outSize = 0;
    BYTE* out = nullptr;
    // The conversation's own reference keeps the stream alive until the
    // entry point has returned, whether or not it released its own.
    stream->AddRef();
    try {
      result = entry(0, nullptr, &outSize, &out, stream);
    } catch (...) {
      DropStream(stream);
      device.image().Rollback();
      device.EndConversation();
      throw;
    }
    DropStream(stream);
    if (out != nullptr) LocalFree(out);
  }
  device.image().Commit();
  device.EndConversation();
  return result;
}

HRESULT RunBufferCall(Device& device, RapiStreamEntryPoint entry,
                      std::span<const std::uint8_t> input,
                      std::vector<std::uint8_t>* output) {
  output->clear();
  std::vector<BYTE> in(input.begin(), input.end());
  device.BeginConversation();
  HRESULT result = E_FAIL;
  {
    ScopedServices services(device.services());
    AbsentStream stream;
    DWORD outSize = 0;
    BYTE* out = nullptr;
    try {
      device.image().Begin();
      result = entry(static_cast<DWORD>(in.size()),
                     in.empty() ? nullptr : in.data(), &outSize, &out, &stream);
    } catch (...) {
      device.image().Rollback();
      device.EndConversation();
      throw;
    }
    if (out != nullptr) {
      output->assign(out, out + outSize);
      LocalFree(out);
    }
  }
  device.image().Commit();
  device.EndConversation();
  return result;
}

}  // namespace device
