#include "desktop/transport/fd_stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace desktop {
namespace {

bool IsSocket(int fd) {
  struct stat st;
  return fstat(fd, &st) == 0 && S_ISSOCK(st.st_mode);
}

std::string ErrnoText(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

FdStream::FdStream(int read_fd, int write_fd)
    : read_fd_(read_fd), write_fd_(write_fd) {}

FdStream::~FdStream() { CloseDescriptors(); }

Status FdStream::Write(std::span<const std::uint8_t> bytes) {
  if (write_fd_ < 0) return Status::Error("handheld stream is closed");
  const bool socket = IsSocket(write_fd_);
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n;
    if (socket) {
      n = send(write_fd_, bytes.data() + done, bytes.size() - done,
               MSG_NOSIGNAL);
    } else {
      n = write(write_fd_, bytes.data() + done, bytes.size() - done);
    }
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EPIPE || errno == ECONNRESET) {
        return Status::Error("handheld closed the conversation");
      }
      return Status::Error(ErrnoText("writing to the handheld"));
    }
    done += static_cast<std::size_t>(n);
  }
  return Status::Ok();
}

Result<std::size_t> FdStream::ReadSome(std::uint8_t* buffer, std::size_t size) {
  if (read_fd_ < 0) return Status::Error("handheld stream is closed");
  for (;;) {
    pollfd pfd{read_fd_, POLLIN, 0};
    int ready = poll(&pfd, 1, timeout_ms_);
    if (ready < 0) {
      if (errno == EINTR) continue;
      return Status::Error(ErrnoText("waiting for the handheld"));
    }
    if (ready == 0) {
      return Status::Error("handheld did not answer within " +
                           std::to_string(timeout_ms_ / 1000) + " s");
    }
    ssize_t n = read(read_fd_, buffer, size);
    if (n < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      if (errno == ECONNRESET) return std::size_t{0};
      return Status::Error(ErrnoText("reading from the handheld"));
    }
    return static_cast<std::size_t>(n);
  }
}

Status FdStream::Close() {
  CloseDescriptors();
  return Status::Ok();
}

void FdStream::CloseWriteSide() {
  if (write_fd_ < 0) return;
  if (write_fd_ == read_fd_) {
    shutdown(write_fd_, SHUT_WR);
  } else {
    close(write_fd_);
  }
  write_fd_ = -1;
}

void FdStream::CloseDescriptors() {
  if (write_fd_ >= 0 && write_fd_ != read_fd_) close(write_fd_);
  if (read_fd_ >= 0) close(read_fd_);
  read_fd_ = -1;
  write_fd_ = -1;
}

}  // namespace desktop
