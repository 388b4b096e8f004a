#include "device/rapi/rapi_server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "device/rapi/rapi_connection.h"

namespace device {

RapiServer::RapiServer(Device& device, RapiModules modules,
                       RapiPasswordLookup password, RapiServerOptions options)
    : device_(device),
      modules_(std::move(modules)),
      password_(std::move(password)),
      options_(options) {
  if (::pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw ImageError(std::string("cannot make the server's wake pipe: ") +
                     std::strerror(errno));
  }
}

RapiServer::~RapiServer() {
  ::close(wake_[0]);
  ::close(wake_[1]);
}

void RapiServer::Stop() {
  int saved = errno;
  char byte = 1;
  [[maybe_unused]] ssize_t ignored = ::write(wake_[1], &byte, 1);
  errno = saved;
}

Status RapiServer::Serve(std::vector<RapiListener> listeners) {
  // A desktop that goes away mid-reply must not end the handheld.
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<pollfd> waits;
  waits.reserve(listeners.size() + 1);
  for (const RapiListener& listener : listeners) {
    waits.push_back({listener.fd(), POLLIN, 0});
  }
  waits.push_back({wake_[0], POLLIN, 0});
  Status status = Status::Ok();
  while (true) {
    for (pollfd& wait : waits) wait.revents = 0;
    if (::poll(waits.data(), waits.size(), -1) < 0) {
      if (errno == EINTR) continue;
      status = Status::Error(std::string("remote API server: poll failed: ") +
                             std::strerror(errno));
      break;
    }
    if (waits.back().revents != 0) break;
    for (std::size_t i = 0; i < listeners.size(); ++i) {
      if (waits[i].revents == 0) continue;
      int fd = ::accept4(listeners[i].fd(), nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0) continue;
      ReapFinished();
      if (OpenConnections() >= options_.maxConnections) {
        ::close(fd);
        Log("remote API: " + std::to_string(options_.maxConnections) +
            " connections are open; a new one was closed");
        continue;
      }
      if (!listeners[i].local()) {
        // Replies go out in pieces; do not wait for the desktop's ACKs.
        int noDelay = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof(noDelay));
      }
      Start(fd, listeners[i].local());
    }
    ReapFinished();
  }
  listeners.clear();
  {
    std::lock_guard<std::mutex> guard(connectionsLock_);
    for (auto& connection : connections_) {
      if (connection->fd >= 0) ::shutdown(connection->fd, SHUT_RDWR);
    }
  }
  for (auto& connection : connections_) connection->thread.join();
  connections_.clear();
  // Drain the wake pipe so that a later Serve waits again.
  char drained[64];
  while (::read(wake_[0], drained, sizeof(drained)) > 0) {
  }
  device_.image().Commit();
  return status;
}

std::size_t RapiServer::OpenConnections() {
  std::lock_guard<std::mutex> guard(connectionsLock_);
  std::size_t open = 0;
  for (auto& connection : connections_) {
    if (!connection->finished) ++open;
  }
  return open;
}

void RapiServer::Start(int fd, bool local) {
  std::lock_guard<std::mutex> guard(connectionsLock_);
  auto connection = std::make_unique<Connection>();
  connection->id = nextId_++;
  connection->fd = fd;
  connection->local = local;
  Connection* started = connection.get();
  connections_.push_back(std::move(connection));
  started->thread = std::thread([this, started] { RunConnection(started); });
}

void RapiServer::RunConnection(Connection* connection) {
  RapiConnection(*this, connection->fd, connection->local, connection->id)
      .Run();
  std::lock_guard<std::mutex> guard(connectionsLock_);
  ::close(connection->fd);
  connection->fd = -1;
  connection->finished = true;
}

void RapiServer::ReapFinished() {
  std::list<std::unique_ptr<Connection>> done;
  {
    std::lock_guard<std::mutex> guard(connectionsLock_);
    for (auto it = connections_.begin(); it != connections_.end();) {
      if ((*it)->finished) {
        done.push_back(std::move(*it));
        it = connections_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& connection : done) connection->thread.join();
}

void RapiServer::Log(const std::string& line) {
  std::lock_guard<std::mutex> guard(logLock_);
  std::ostream& out = options_.log != nullptr ? *options_.log : std::cerr;
  out << line << std::endl;
}

std::optional<std::u16string> RapiServer::Password(bool* failed) {
  std::lock_guard<std::mutex> guard(passwordLock_);
  *failed = false;
  if (!password_) return std::nullopt;
  try {
    return password_();
  } catch (const std::exception& e) {
    *failed = true;
    Log(std::string("remote API: cannot read the device password: ") +
        e.what());
    return std::nullopt;
  }
}

}  // namespace device
