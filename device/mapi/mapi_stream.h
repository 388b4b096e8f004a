// A stream on one property of a message or attachment. It reads the bytes
// the property had when it was opened; every Write is handed to the owner
// at once (the commit function), so what was written is the property's
// value without a Commit call.
#ifndef VORN_DEVICE_MAPI_MAPI_STREAM_H_
#define VORN_DEVICE_MAPI_MAPI_STREAM_H_

#include <functional>
#include <vector>

#include "device/mapi/mapi_object.h"

namespace device {

class MapiStream final : public MapiObject<IStream> {
 public:
  using Commit = std::function<void(const std::vector<BYTE>& bytes)>;

  // A null `commit` makes a read-only stream (Write: STG_E_ACCESSDENIED).
  MapiStream(std::vector<BYTE> bytes, Commit commit)
      : bytes_(std::move(bytes)), commit_(std::move(commit)) {}

  HRESULT Read(void* buffer, ULONG count, ULONG* done) override;
  HRESULT Write(const void* buffer, ULONG count, ULONG* done) override;
  HRESULT Seek(LARGE_INTEGER move, DWORD origin,
               ULARGE_INTEGER* position) override;
  // Only STATFLAG_NONAME: the name is never given out.
  HRESULT Stat(STATSTG* stat, DWORD flags) override;

 private:
  std::vector<BYTE> bytes_;
  Commit commit_;
  std::size_t position_ = 0;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_STREAM_H_
