// vorn-device serve IMAGE --stdio
// vorn-device serve IMAGE --listen HOST:PORT [--allow-remote]
// vorn-device serve IMAGE --rapi [HOST:PORT] [--password-key N] |
//                         --rapi-unix PATH
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>

#include "agent/session/entry_point.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "cli/vorn_device/rapi_serve.h"
#include "device/device.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device serve IMAGE --stdio\n"
    "       vorn-device serve IMAGE --listen HOST:PORT [--allow-remote]\n"
    "       vorn-device serve IMAGE [--rapi [HOST:PORT]] [--rapi-unix PATH]\n"
    "                               [--password-key N] [--allow-remote]\n"
    "\n"
    "Runs the agent's entry point rsCeApiMgr on the handheld in IMAGE.\n"
    "  --stdio         exactly one conversation on standard input and output;\n"
    "                  exit status 0 when the entry point returned S_OK, else\n"
    "                  1 with \"rsCeApiMgr returned 0xXXXXXXXX\" on stderr\n"
    "  --listen        conversations one after another, one per TCP\n"
    "                  connection, in one loaded agent. PORT 0 picks a free\n"
    "                  port; \"listening on HOST:PORT\" goes to stderr once\n"
    "                  the socket listens. Ctrl-C or SIGTERM stop it cleanly.\n"
    "  --allow-remote  allow a HOST that is not a loopback address\n"
    "  --rapi          the handheld's remote API server on TCP (default\n"
    "                  127.0.0.1:990; PORT 0 picks a free port): desktops\n"
    "                  pass the device password, then invoke VORNAPIMGR's\n"
    "                  rsCeApiMgr; connections are served side by side\n"
    "  --rapi-unix     the same on a Unix-domain socket, without the\n"
    "                  password step (both may be given together)\n"
    "  --password-key  the key byte of the password step, 0 to 255\n"
    "                  (default 165, 0xA5)\n"
    "  Each listener prints \"listening on ADDRESS\" to stderr.\n";

int Usage(const std::string& message) {
  return ReportError("serve", message, kExitUsage);
}

struct Endpoint {
  std::string host;
  std::string port;
};

std::optional<Endpoint> SplitHostPort(const std::string& text) {
  Endpoint endpoint;
  std::size_t colon;
  if (text.starts_with("[")) {
    std::size_t close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() ||
        text[close + 1] != ':') {
      return std::nullopt;
    }
    endpoint.host = text.substr(1, close - 1);
    colon = close + 1;
  } else {
    colon = text.rfind(':');
    if (colon == std::string::npos) return std::nullopt;
    endpoint.host = text.substr(0, colon);
    if (endpoint.host.find(':') != std::string::npos) return std::nullopt;
  }
  endpoint.port = text.substr(colon + 1);
  unsigned port = 0;
  auto [end, error] = std::from_chars(
      endpoint.port.data(), endpoint.port.data() + endpoint.port.size(), port);
  if (endpoint.host.empty() || endpoint.port.empty() || error != std::errc() ||
      end != endpoint.port.data() + endpoint.port.size() || port > 65535) {
    return std::nullopt;
  }
  return endpoint;
}

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

std::string ResultText(HRESULT result) {
  char text[64];
  std::snprintf(text, sizeof(text), "rsCeApiMgr returned 0x%08X",
                static_cast<unsigned>(result));
  return text;
}

// State shared with the signal handler.
volatile sig_atomic_t g_stop = 0;
volatile sig_atomic_t g_connection = -1;
int g_wakeFd = -1;

void OnStopSignal(int) {
  g_stop = 1;
  int saved = errno;
  if (g_wakeFd >= 0) {
    char byte = 1;
    [[maybe_unused]] ssize_t ignored = ::write(g_wakeFd, &byte, 1);
  }
  // A conversation in progress meets a closed stream and ends.
  if (g_connection >= 0) ::shutdown(g_connection, SHUT_RDWR);
  errno = saved;
}

void InstallStopHandlers() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no restart: poll and accept return EINTR
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int ServeStdio(device::Device& handheld) {
  device::FdChannel channel(STDIN_FILENO, STDOUT_FILENO);
  HRESULT result = device::RunConversation(handheld, channel, &rsCeApiMgr);
  if (result != S_OK) {
    std::cerr << ResultText(result) << "\n";
    return 1;
  }
  return 0;
}

int ServeListening(device::Device& handheld, int listener) {
  int wake[2];
  if (::pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) {
    std::cerr << "vorn-device serve: " << std::strerror(errno) << "\n";
    return 1;
  }
  g_wakeFd = wake[1];
  InstallStopHandlers();
  while (!g_stop) {
    pollfd waits[2] = {{listener, POLLIN, 0}, {wake[0], POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0) continue;  // EINTR: look at g_stop
    if (waits[1].revents != 0) break;
    int connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    g_connection = connection;
    // A reply frame goes out as two writes (length, then bytes): without
    // this every round trip would wait for the desktop's delayed ACK.
    int noDelay = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &noDelay,
                 sizeof(noDelay));
    if (g_stop) {
      g_connection = -1;
      ::close(connection);
      break;
    }
    device::FdChannel channel(connection, connection);
    HRESULT result = device::RunConversation(handheld, channel, &rsCeApiMgr);
    g_connection = -1;
    ::close(connection);
    if (result != S_OK) std::cerr << ResultText(result) << "\n";
  }
  ::close(listener);
  g_wakeFd = -1;
  ::close(wake[0]);
  ::close(wake[1]);
  handheld.image().Commit();
  return 0;
}

}  // namespace

int RunServe(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  std::string image;
  bool stdio = false;
  bool allowRemote = false;
  std::optional<std::string> listen;
  RapiServeOptions rapi;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--stdio") {
      stdio = true;
    } else if (arg == "--allow-remote") {
      allowRemote = true;
    } else if (arg == "--listen") {
      if (i + 1 == args.size()) return Usage("--listen needs HOST:PORT");
      listen = args[++i];
    } else if (arg == "--rapi") {
      rapi.tcp = DefaultRapiAddress();
      if (i + 1 < args.size() && !args[i + 1].starts_with("--") &&
          args[i + 1].find(':') != std::string::npos) {
        rapi.tcp = args[++i];
      }
    } else if (arg == "--rapi-unix") {
      if (i + 1 == args.size()) return Usage("--rapi-unix needs a PATH");
      rapi.unixPath = args[++i];
    } else if (arg == "--password-key") {
      std::optional<DWORD> key =
          i + 1 < args.size() ? ParseDword(args[i + 1]) : std::nullopt;
      if (!key || *key > 255) return Usage("--password-key needs 0 to 255");
      rapi.passwordKey = static_cast<std::uint8_t>(*key);
      rapi.keyGiven = true;
      ++i;
    } else if (arg.starts_with("--")) {
      return Usage("unknown option '" + arg + "'");
    } else if (image.empty()) {
      image = arg;
    } else {
      return Usage("unexpected argument '" + arg + "'");
    }
  }
  if (image.empty()) return Usage("missing IMAGE");
  bool rapiMode = rapi.tcp || rapi.unixPath;
  if (int{stdio} + int{listen.has_value()} + int{rapiMode} != 1) {
    return Usage(
        "give exactly one of --stdio, --listen HOST:PORT and "
        "--rapi/--rapi-unix");
  }
  if (stdio && allowRemote) return Usage("--allow-remote needs --listen");
  if (rapi.keyGiven && !rapi.tcp) return Usage("--password-key needs --rapi");
  if (rapiMode) {
    rapi.allowRemote = allowRemote;
    return ServeRapi(image, rapi);
  }

  int listener = -1;
  std::string shownHost;
  if (listen) {
    std::optional<Endpoint> endpoint = SplitHostPort(*listen);
    if (!endpoint) return Usage("bad HOST:PORT '" + *listen + "'");
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    int error = ::getaddrinfo(endpoint->host.c_str(), endpoint->port.c_str(),
                              &hints, &found);
    if (error != 0) {
      return Usage("cannot resolve '" + endpoint->host +
                   "': " + ::gai_strerror(error));
    }
    if (!allowRemote && !IsLoopback(found->ai_addr)) {
      ::freeaddrinfo(found);
      return Usage(endpoint->host +
                   " is not a loopback address (add --allow-remote to listen "
                   "on it)");
    }
    listener = ::socket(found->ai_family, found->ai_socktype | SOCK_CLOEXEC,
                        found->ai_protocol);
    int yes = 1;
    bool listening = listener >= 0 &&
                     ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes,
                                  sizeof(yes)) == 0 &&
                     ::bind(listener, found->ai_addr, found->ai_addrlen) == 0 &&
                     ::listen(listener, 8) == 0;
    ::freeaddrinfo(found);
    if (!listening) {
      std::cerr << "vorn-device serve: cannot listen on " << *listen << ": "
                << std::strerror(errno) << "\n";
      if (listener >= 0) ::close(listener);
      return 1;
    }
    shownHost = endpoint->host.find(':') != std::string::npos
                    ? "[" + endpoint->host + "]"
                    : endpoint->host;
  }

  auto opened = device::Device::Open(image);
  if (!opened.ok()) {
    std::cerr << "vorn-device serve: " << opened.status().message() << "\n";
    if (listener >= 0) ::close(listener);
    return 1;
  }
  // A desktop that goes away mid-reply must not kill the handheld.
  ::signal(SIGPIPE, SIG_IGN);
  try {
    if (stdio) return ServeStdio(**opened);
    sockaddr_storage bound{};
    socklen_t length = sizeof(bound);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&bound), &length);
    unsigned port =
        bound.ss_family == AF_INET6
            ? ntohs(reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port)
            : ntohs(reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
    std::cerr << "listening on " << shownHost << ":" << port << std::endl;
    return ServeListening(**opened, listener);
  } catch (const device::ImageError& e) {
    std::cerr << "vorn-device serve: " << e.what() << "\n";
    return 1;
  }
}

}  // namespace cli
