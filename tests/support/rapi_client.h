// A desktop of the handheld's remote API built from its byte layouts alone,
// for tests: request bytes made by hand and a raw socket to send them on.
#ifndef VORN_TESTS_SUPPORT_RAPI_CLIENT_H_
#define VORN_TESTS_SUPPORT_RAPI_CLIENT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/packet_builder.h"

namespace testing_support {

// u16 count, then the UTF-16LE text and NUL, every byte XORed with `key`.
Bytes RapiPasswordStep(std::u16string_view password, std::uint8_t key);
// A whole 0x45 request (u32 length first): each name as u32 present flag
// 1, u32 UTF-16 units with the NUL, the text and NUL; then u32 input size,
// the input, u32 stream flag.
Bytes RapiInvoke45(std::u16string_view module, std::u16string_view function,
                   const Bytes& input, bool stream);
// The same with the DLL name flagged absent (present flag 0, nothing else).
Bytes RapiInvoke45NoModule(std::u16string_view function);
// A whole 0x4c request: each name as u32 byte count with the NUL, then the
// text and NUL.
Bytes RapiInvoke4c(std::u16string_view module, std::u16string_view function,
                   const Bytes& input, bool stream);

// One connection to a listening server.
class RawConnection {
 public:
  // "HOST:PORT" for TCP or "unix:PATH", as the server prints them. Check
  // connected() afterwards.
  explicit RawConnection(const std::string& address);
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;
  ~RawConnection();

  bool connected() const { return fd_ >= 0; }
  bool Send(const Bytes& bytes);
  // Reads `count` bytes, waiting at most 10 s in all; fewer when the server
  // closed the connection first (or the time ran out).
  Bytes Recv(std::size_t count);
  // A reply packet: u32 length, then that many bytes (the length included
  // in the result).
  Bytes RecvPacket();
  // Whether the server closes (or resets) the connection within 10 s
  // without sending anything more.
  bool ClosedByServer();
  void Close();

 private:
  int fd_ = -1;
};

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_RAPI_CLIENT_H_
