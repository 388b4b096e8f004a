#include "desktop/transport/tcp_stream.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace desktop {

Status TcpStream::SplitHostPort(std::string_view host_port, std::string* host,
                                std::string* port) {
  std::size_t colon = host_port.rfind(':');
  if (colon == std::string_view::npos || colon == 0 ||
      colon + 1 == host_port.size()) {
    return Status::Error("expected HOST:PORT, got \"" + std::string(host_port) +
                         "\"");
  }
  std::string_view h = host_port.substr(0, colon);
  std::string_view p = host_port.substr(colon + 1);
  if (h.size() >= 2 && h.front() == '[' && h.back() == ']') {
    h = h.substr(1, h.size() - 2);
  }
  unsigned long value = 0;
  for (char c : p) {
    if (c < '0' || c > '9' || value > 65535) {
      return Status::Error("bad port \"" + std::string(p) + "\"");
    }
    value = value * 10 + static_cast<unsigned long>(c - '0');
  }
  if (value == 0 || value > 65535) {
    return Status::Error("bad port \"" + std::string(p) + "\"");
  }
  *host = std::string(h);
  *port = std::string(p);
  return Status::Ok();
}

Result<std::unique_ptr<TcpStream>> TcpStream::Connect(
    std::string_view host_port) {
  std::string host, port;
  VORN_RETURN_IF_ERROR(SplitHostPort(host_port, &host, &port));
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  int rc = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
  if (rc != 0) {
    return Status::Error("cannot resolve " + host + ": " + gai_strerror(rc));
  }
  std::string last_error = "no address";
  for (addrinfo* ai = found; ai != nullptr; ai = ai->ai_next) {
    int fd =
        socket(ai->ai_family, ai->ai_socktype | SOCK_CLOEXEC, ai->ai_protocol);
    if (fd < 0) {
      last_error = std::strerror(errno);
      continue;
    }
    if (connect(fd, ai->ai_addr, ai->ai_addrlen) == 0) {
      int one = 1;
      setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      freeaddrinfo(found);
      return std::unique_ptr<TcpStream>(new TcpStream(fd));
    }
    last_error = std::strerror(errno);
    close(fd);
  }
  freeaddrinfo(found);
  return Status::Error("cannot connect to " + std::string(host_port) + ": " +
                       last_error);
}

}  // namespace desktop
