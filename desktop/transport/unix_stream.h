// A HandheldStream over a Unix-domain socket (the handheld's remote API
// server started with `vorn-device serve IMAGE --rapi-unix PATH`).
#ifndef VORN_DESKTOP_TRANSPORT_UNIX_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_UNIX_STREAM_H_

#include <memory>
#include <string>

#include "desktop/transport/fd_stream.h"

namespace desktop {

class UnixStream : public FdStream {
 public:
  // Connects to the socket at `path`; fails with a readable message when
  // the path is too long or nobody listens there.
  static Result<std::unique_ptr<UnixStream>> Connect(const std::string& path);

 private:
  explicit UnixStream(int fd) : FdStream(fd, fd) {}
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_UNIX_STREAM_H_
