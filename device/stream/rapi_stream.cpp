#include "device/stream/rapi_stream.h"

#include <span>

#include "platform/fault.h"

namespace device {

RapiStream::RapiStream(ByteChannel& channel, DeviceImage& image)
    : channel_(channel), image_(image) {}

HRESULT RapiStream::QueryInterface(REFIID /*iid*/, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  return E_NOINTERFACE;
}

ULONG RapiStream::AddRef() { return ++references_; }

ULONG RapiStream::Release() {
  if (references_ == 0) {
    throw platform::Fault("remote API stream released once too often");
  }
  ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

HRESULT RapiStream::Read(void* buffer, ULONG count, ULONG* done) {
  std::span<std::uint8_t> rest(static_cast<std::uint8_t*>(buffer), count);
  while (!rest.empty()) {
    Result<std::size_t> got = channel_.ReadSome(rest);
    if (!got.ok() || *got == 0) {
      throw platform::Fault("desktop closed the stream");
    }
    rest = rest.subspan(*got);
  }
  if (!inPacket_) {
    image_.Begin();
    inPacket_ = true;
  }
  if (done != nullptr) *done = count;
  return S_OK;
}

HRESULT RapiStream::Write(const void* buffer, ULONG count, ULONG* done) {
  if (inPacket_) {
    image_.Commit();
    inPacket_ = false;
  }
  std::span<const std::uint8_t> bytes(static_cast<const std::uint8_t*>(buffer),
                                      count);
  if (!channel_.WriteAll(bytes).ok()) {
    throw platform::Fault("desktop closed the stream");
  }
  if (done != nullptr) *done = count;
  return S_OK;
}

}  // namespace device
