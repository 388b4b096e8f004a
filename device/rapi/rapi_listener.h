// A listening socket of the handheld's remote API server: TCP (desktops on
// the network, with the password step) or a Unix-domain socket (local, no
// password step, no privilege needed).
#ifndef VORN_DEVICE_RAPI_RAPI_LISTENER_H_
#define VORN_DEVICE_RAPI_RAPI_LISTENER_H_

#include <string>
#include <string_view>

#include "device/image/status.h"

namespace device {

class RapiListener {
 public:
  // Listens on "HOST:PORT" ("[v6]:PORT" for IPv6 literals); PORT 0 picks a
  // free port. Refuses a host that is not a loopback address unless
  // `allowRemote`.
  static Result<RapiListener> Tcp(std::string_view hostPort, bool allowRemote);
  // Listens on the Unix-domain socket `path`. A socket left at `path` by an
  // earlier server is replaced; any other file there is refused. The socket
  // file is removed again when the listener closes.
  static Result<RapiListener> Unix(const std::string& path);

  RapiListener(RapiListener&& other) noexcept;
  RapiListener& operator=(RapiListener&& other) noexcept;
  RapiListener(const RapiListener&) = delete;
  RapiListener& operator=(const RapiListener&) = delete;
  ~RapiListener();

  int fd() const { return fd_; }
  // Whether connections skip the password step (Unix-domain sockets).
  bool local() const { return !unixPath_.empty(); }
  // Where it listens: "HOST:PORT" with the port bound, or "unix:PATH".
  const std::string& address() const { return address_; }

 private:
  RapiListener(int fd, std::string address, std::string unixPath)
      : fd_(fd), address_(std::move(address)), unixPath_(std::move(unixPath)) {}
  void Close();

  int fd_ = -1;
  std::string address_;
  std::string unixPath_;
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_RAPI_LISTENER_H_
