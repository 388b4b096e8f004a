// The remote API stream that the desktop's invocation hands to the agent,
// over a byte channel.
//
// Reads wait until every requested byte has arrived; when the desktop closes
// its end first, the handheld's remote API server tears the invocation down,
// which the stream reports as a platform::Fault("desktop closed the stream").
//
// The stream also draws the transaction boundaries of the device image: all
// changes made while one packet is served form one transaction. The first
// Read after a Write (or the first of the conversation) begins it, once its
// bytes have arrived (so no lock is held while the desktop is silent); the
// first Write after Reads commits it before any byte of the reply leaves.
#ifndef VORN_DEVICE_STREAM_RAPI_STREAM_H_
#define VORN_DEVICE_STREAM_RAPI_STREAM_H_

#include "device/image/device_image.h"
#include "device/stream/byte_channel.h"
#include "platform/rapi.h"

namespace device {

class RapiStream final : public IRAPIStream {
 public:
  // Starts with one reference, for the creator; deletes itself on its last
  // Release. `channel` and `image` outlive the stream.
  RapiStream(ByteChannel& channel, DeviceImage& image);
  RapiStream(const RapiStream&) = delete;
  RapiStream& operator=(const RapiStream&) = delete;

  // No interface is offered through QueryInterface: E_NOINTERFACE.
  HRESULT QueryInterface(REFIID iid, void** object) override;
  ULONG AddRef() override;
  // Returns the references left. A release past zero is a fault.
  ULONG Release() override;

  // Reads exactly `count` bytes; *done (when given) = count. Faults when
  // the channel ends or breaks first.
  HRESULT Read(void* buffer, ULONG count, ULONG* done) override;
  // Writes all `count` bytes; *done (when given) = count. Faults when the
  // channel broke.
  HRESULT Write(const void* buffer, ULONG count, ULONG* done) override;

  // Whether the changes of a packet are waiting for its reply.
  bool InPacket() const { return inPacket_; }

 private:
  ~RapiStream() = default;

  ByteChannel& channel_;
  DeviceImage& image_;
  ULONG references_ = 1;
  bool inPacket_ = false;
};

}  // namespace device

#endif  // VORN_DEVICE_STREAM_RAPI_STREAM_H_
