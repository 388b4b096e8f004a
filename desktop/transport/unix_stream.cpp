#include "desktop/transport/unix_stream.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace desktop {

Result<std::unique_ptr<UnixStream>> UnixStream::Connect(
    const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    return Status::Error("bad Unix socket path \"" + path + "\"");
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    return Status::Error(std::string("cannot make a socket: ") +
                         std::strerror(errno));
  }
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address),
              sizeof(address)) != 0) {
    std::string why = std::strerror(errno);
    close(fd);
    return Status::Error("cannot connect to " + path + ": " + why);
  }
  return std::unique_ptr<UnixStream>(new UnixStream(fd));
}

}  // namespace desktop
