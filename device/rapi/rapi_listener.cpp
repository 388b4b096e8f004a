#include "device/rapi/rapi_listener.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

namespace device {
namespace {

constexpr int kBacklog = 16;

bool IsLoopback(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
    return (ntohl(v4->sin_addr.s_addr) >> 24) == 127;
  }
  if (address->sa_family == AF_INET6) {
    const in6_addr& v6 =
        reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    if (IN6_IS_ADDR_LOOPBACK(&v6)) return true;
    return IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127;
  }
  return false;
}

Status SplitHostPort(std::string_view text, std::string* host,
                     std::string* port) {
  std::size_t colon;
  if (text.starts_with("[")) {
    std::size_t close = text.find(']');
    if (close == std::string_view::npos || close + 1 >= text.size() ||
        text[close + 1] != ':') {
      return Status::Error("bad HOST:PORT '" + std::string(text) + "'");
    }
    *host = std::string(text.substr(1, close - 1));
    colon = close + 1;
  } else {
    colon = text.rfind(':');
    if (colon == std::string_view::npos) {
      return Status::Error("bad HOST:PORT '" + std::string(text) + "'");
    }
    *host = std::string(text.substr(0, colon));
  }
  *port = std::string(text.substr(colon + 1));
  unsigned value = 0;
  auto [end, error] =
      std::from_chars(port->data(), port->data() + port->size(), value);
  if (host->empty() || port->empty() || error != std::errc() ||
      end != port->data() + port->size() || value > 65535) {
    return Status::Error("bad HOST:PORT '" + std::string(text) + "'");
  }
  return Status::Ok();
}

}  // namespace

Result<RapiListener> RapiListener::Tcp(std::string_view hostPort,
                                       bool allowRemote) {
  std::string host, port;
  Status split = SplitHostPort(hostPort, &host, &port);
  if (!split.ok()) return split;
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  int error = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
  if (error != 0) {
    return Status::Error("cannot resolve '" + host +
                         "': " + ::gai_strerror(error));
  }
  if (!allowRemote && !IsLoopback(found->ai_addr)) {
    ::freeaddrinfo(found);
    return Status::Error(host +
                         " is not a loopback address (add --allow-remote to "
                         "listen on it)");
  }
  int fd = ::socket(found->ai_family, found->ai_socktype | SOCK_CLOEXEC,
                    found->ai_protocol);
  int yes = 1;
  bool listening =
      fd >= 0 &&
      ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) == 0 &&
      ::bind(fd, found->ai_addr, found->ai_addrlen) == 0 &&
      ::listen(fd, kBacklog) == 0;
  int saved = errno;
  ::freeaddrinfo(found);
  if (!listening) {
    if (fd >= 0) ::close(fd);
    return Status::Error("cannot listen on " + std::string(hostPort) + ": " +
                         std::strerror(saved));
  }
  sockaddr_storage bound{};
  socklen_t length = sizeof(bound);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
  unsigned boundPort =
      bound.ss_family == AF_INET6
          ? ntohs(reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port)
          : ntohs(reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
  std::string shown =
      host.find(':') != std::string::npos ? "[" + host + "]" : host;
  return RapiListener(fd, shown + ":" + std::to_string(boundPort), "");
}

Result<RapiListener> RapiListener::Unix(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    return Status::Error("bad Unix socket path '" + path + "'");
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  struct stat existing {};
  if (::lstat(path.c_str(), &existing) == 0) {
    if (!S_ISSOCK(existing.st_mode)) {
      return Status::Error(path + " exists and is not a socket");
    }
    ::unlink(path.c_str());
  }
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  bool listening = fd >= 0 &&
                   ::bind(fd, reinterpret_cast<const sockaddr*>(&address),
                          sizeof(address)) == 0 &&
                   ::listen(fd, kBacklog) == 0;
  if (!listening) {
    int saved = errno;
    if (fd >= 0) ::close(fd);
    return Status::Error("cannot listen on " + path + ": " +
                         std::strerror(saved));
  }
  return RapiListener(fd, "unix:" + path, path);
}

RapiListener::RapiListener(RapiListener&& other) noexcept
    : fd_(other.fd_),
      address_(std::move(other.address_)),
      unixPath_(std::move(other.unixPath_)) {
  other.fd_ = -1;
  other.unixPath_.clear();
}

RapiListener& RapiListener::operator=(RapiListener&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = other.fd_;
    address_ = std::move(other.address_);
    unixPath_ = std::move(other.unixPath_);
    other.fd_ = -1;
    other.unixPath_.clear();
  }
  return *this;
}

RapiListener::~RapiListener() { Close(); }

void RapiListener::Close() {
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
  if (!unixPath_.empty()) ::unlink(unixPath_.c_str());
}

}  // namespace device
