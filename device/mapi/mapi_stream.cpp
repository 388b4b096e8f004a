#include "device/mapi/mapi_stream.h"

#include <cstring>

namespace device {
namespace {

constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005U);
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001U);

}  // namespace

HRESULT MapiStream::Read(void* buffer, ULONG count, ULONG* done) {
  std::size_t left = position_ < bytes_.size() ? bytes_.size() - position_ : 0;
  std::size_t taken = count < left ? count : left;
  if (buffer == nullptr && taken != 0) return E_POINTER;
  if (taken != 0) std::memcpy(buffer, bytes_.data() + position_, taken);
  position_ += taken;
  if (done != nullptr) *done = static_cast<ULONG>(taken);
  return S_OK;
}

HRESULT MapiStream::Write(const void* buffer, ULONG count, ULONG* done) {
  if (!commit_) return STG_E_ACCESSDENIED;
  if (buffer == nullptr && count != 0) return E_POINTER;
  if (bytes_.size() < position_ + count) bytes_.resize(position_ + count);
  if (count != 0) std::memcpy(bytes_.data() + position_, buffer, count);
  position_ += count;
  if (done != nullptr) *done = count;
  commit_(bytes_);
  return S_OK;
}

HRESULT MapiStream::Seek(LARGE_INTEGER move, DWORD origin,
                         ULARGE_INTEGER* position) {
  std::int64_t base = 0;
  if (origin == STREAM_SEEK_CUR) {
    base = static_cast<std::int64_t>(position_);
  } else if (origin == STREAM_SEEK_END) {
    base = static_cast<std::int64_t>(bytes_.size());
  } else if (origin != STREAM_SEEK_SET) {
    return STG_E_INVALIDFUNCTION;
  }
  std::int64_t target = base + move.QuadPart;
  if (target < 0) return STG_E_INVALIDFUNCTION;
  position_ = static_cast<std::size_t>(target);
  if (position != nullptr) position->QuadPart = position_;
  return S_OK;
}

HRESULT MapiStream::Stat(STATSTG* stat, DWORD flags) {
  if (stat == nullptr) return E_POINTER;
  if ((flags & STATFLAG_NONAME) == 0) return E_NOTIMPL;
  *stat = STATSTG{};
  stat->type = 2;  // STGTY_STREAM
  stat->cbSize.QuadPart = bytes_.size();
  return S_OK;
}

}  // namespace device
