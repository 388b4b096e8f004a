// A HandheldStream over a TCP connection to a listening handheld
// (`vorn-device serve IMAGE --listen HOST:PORT`).
#ifndef VORN_DESKTOP_TRANSPORT_TCP_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_TCP_STREAM_H_

#include <memory>
#include <string>
#include <string_view>

#include "desktop/transport/fd_stream.h"

namespace desktop {

class TcpStream : public FdStream {
 public:
  // Connects to "HOST:PORT" ("[v6addr]:PORT" for IPv6 literals). Fails with a
  // readable message when the address is malformed or nobody answers.
  static Result<std::unique_ptr<TcpStream>> Connect(std::string_view host_port);

  // Splits "HOST:PORT" into its parts; fails on a missing or bad port.
  static Status SplitHostPort(std::string_view host_port, std::string* host,
                              std::string* port);

 private:
  explicit TcpStream(int fd) : FdStream(fd, fd) {}
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_TCP_STREAM_H_
