#include "tests/support/rapi_client.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace testing_support {
namespace {

Bytes Utf16z(std::u16string_view text) {
  Bytes out;
  for (char16_t unit : text) {
    out.push_back(static_cast<std::uint8_t>(unit));
    out.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  out.push_back(0);
  out.push_back(0);
  return out;
}

Bytes Framed(const Bytes& body) {
  return Cat({LE32(static_cast<std::uint32_t>(body.size())), body});
}

Bytes Tail(const Bytes& input, bool stream) {
  return Cat({LE32(static_cast<std::uint32_t>(input.size())), input,
              LE32(stream ? 1 : 0)});
}

Bytes Flagged(std::u16string_view text) {
  return Cat({LE32(1), LE32(static_cast<std::uint32_t>(text.size() + 1)),
              Utf16z(text)});
}

Bytes ByteCounted(std::u16string_view text) {
  return Cat(
      {LE32(static_cast<std::uint32_t>(2 * (text.size() + 1))), Utf16z(text)});
}

int ConnectTo(const std::string& address) {
  if (address.starts_with("unix:")) {
    std::string path = address.substr(5);
    sockaddr_un un{};
    un.sun_family = AF_UNIX;
    if (path.size() >= sizeof(un.sun_path)) return -1;
    std::memcpy(un.sun_path, path.data(), path.size());
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 &&
        ::connect(fd, reinterpret_cast<sockaddr*>(&un), sizeof(un)) != 0) {
      ::close(fd);
      return -1;
    }
    return fd;
  }
  std::size_t colon = address.rfind(':');
  if (colon == std::string::npos) return -1;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(address.substr(0, colon).c_str(),
                    address.substr(colon + 1).c_str(), &hints, &found) != 0) {
    return -1;
  }
  int fd = ::socket(found->ai_family, found->ai_socktype | SOCK_CLOEXEC,
                    found->ai_protocol);
  if (fd >= 0 && ::connect(fd, found->ai_addr, found->ai_addrlen) != 0) {
    ::close(fd);
    fd = -1;
  }
  ::freeaddrinfo(found);
  return fd;
}

}  // namespace

Bytes RapiPasswordStep(std::u16string_view password, std::uint8_t key) {
  Bytes text = Utf16z(password);
  for (std::uint8_t& byte : text) byte = static_cast<std::uint8_t>(byte ^ key);
  return Cat({LE16(static_cast<std::uint16_t>(text.size())), text});
}

Bytes RapiInvoke45(std::u16string_view module, std::u16string_view function,
                   const Bytes& input, bool stream) {
  return Framed(Cat(
      {LE32(0x45), Flagged(module), Flagged(function), Tail(input, stream)}));
}

Bytes RapiInvoke45NoModule(std::u16string_view function) {
  return Framed(Cat({LE32(0x45), LE32(0), Flagged(function), Tail({}, true)}));
}

Bytes RapiInvoke4c(std::u16string_view module, std::u16string_view function,
                   const Bytes& input, bool stream) {
  return Framed(Cat({LE32(0x4c), ByteCounted(module), ByteCounted(function),
                     Tail(input, stream)}));
}

RawConnection::RawConnection(const std::string& address)
    : fd_(ConnectTo(address)) {}

RawConnection::~RawConnection() { Close(); }

void RawConnection::Close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool RawConnection::Send(const Bytes& bytes) {
  std::size_t done = 0;
  while (fd_ >= 0 && done < bytes.size()) {
    ssize_t put =
        ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (put <= 0) return false;
    done += static_cast<std::size_t>(put);
  }
  return fd_ >= 0;
}

Bytes RawConnection::Recv(std::size_t count) {
  Bytes out;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (fd_ >= 0 && out.size() < count) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd wait{fd_, POLLIN, 0};
    if (left.count() <= 0 ||
        ::poll(&wait, 1, static_cast<int>(left.count())) <= 0) {
      break;
    }
    std::uint8_t buffer[4096];
    std::size_t want = std::min(sizeof(buffer), count - out.size());
    ssize_t got = ::recv(fd_, buffer, want, 0);
    if (got <= 0) break;
    out.insert(out.end(), buffer, buffer + got);
  }
  return out;
}

Bytes RawConnection::RecvPacket() {
  Bytes length = Recv(4);
  if (length.size() < 4) return length;
  std::uint32_t size = length[0] | (length[1] << 8) | (length[2] << 16) |
                       (static_cast<std::uint32_t>(length[3]) << 24);
  return Cat({length, Recv(size)});
}

bool RawConnection::ClosedByServer() {
  if (fd_ < 0) return false;
  pollfd wait{fd_, POLLIN, 0};
  if (::poll(&wait, 1, 10000) <= 0) return false;
  std::uint8_t byte;
  ssize_t got = ::recv(fd_, &byte, 1, 0);
  // A server that closes with request bytes still unread resets instead.
  return got == 0 || (got < 0 && errno == ECONNRESET);
}

}  // namespace testing_support
