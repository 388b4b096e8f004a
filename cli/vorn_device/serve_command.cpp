// vorn-device serve IMAGE --stdio
// vorn-device serve IMAGE --listen HOST:PORT [--allow-remote]
// vorn-device serve IMAGE [--rapi [HOST:PORT]] [--rapi-unix PATH]
//                         [--password-key N] [--allow-remote]
#include <arpa/inet.h>
#include <fcntl.h>
#include <malloc.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>

#include "agent/session/entry_point.h"
#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "cli/vorn_device/rapi_serve.h"
#include "device/device.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Runs the agent's entry point rsCeApiMgr on the handheld in IMAGE, with\n"
    "either --stdio, --listen HOST:PORT, or the remote API server (--rapi,\n"
    "--rapi-unix or both). Each listener prints \"listening on ADDRESS\" to\n"
    "stderr.";

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

struct ServeRequest {
  std::string image;
  bool stdio = false;
  std::string listen;  // --listen HOST:PORT as given, split in `endpoint`
  std::optional<Endpoint> endpoint;
  bool allowRemote = false;
  RapiServeOptions rapi;
};

int Serve(const ServeRequest& request) {
  // A packet's buffer is as large as its length field says (up to 16 MiB).
  // With the C library's default, freeing one such buffer raises the size
  // from which buffers are mapped and unmapped on their own, and the next
  // large buffers stay in the heap when freed: a server that has met a few
  // hostile lengths would keep 16 MiB more for good. A fixed threshold gives
  // every large buffer back when it is freed.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  const std::string& image = request.image;
  if (request.rapi.tcp || request.rapi.unixPath) {
    RapiServeOptions rapi = request.rapi;
    rapi.allowRemote = request.allowRemote;
    return ServeRapi(image, rapi);
  }
  const bool stdio = request.stdio;
  const bool allowRemote = request.allowRemote;
  std::optional<std::string> listen;
  if (!stdio) listen = request.listen;

  int listener = -1;
  std::string shownHost;
  if (listen) {
    const std::optional<Endpoint>& endpoint = request.endpoint;
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

}  // namespace

void DefineServe(CLI::App& app, Work& work) {
  auto request = std::make_shared<ServeRequest>();
  CLI::App* serve =
      app.add_subcommand("serve", "run the agent's entry point on a stream");
  serve->footer(kDetails);
  serve->add_option("IMAGE", request->image, "the device image")->required();
  CLI::Option* stdio = serve->add_flag(
      "--stdio", request->stdio,
      "exactly one conversation on standard input and output; exit status 0\n"
      "when the entry point returned S_OK, else 1 with\n"
      "\"rsCeApiMgr returned 0xXXXXXXXX\" on stderr");
  CLI::Option* listen =
      serve
          ->add_option_function<std::string>(
              "--listen",
              [request](const std::string& text) {
                request->endpoint = SplitHostPort(text);
                if (!request->endpoint) {
                  cli_common::BadArgument("bad HOST:PORT '" + text + "'");
                }
                request->listen = text;
              },
              "conversations one after another, one per TCP connection, in\n"
              "one loaded agent. PORT 0 picks a free port; \"listening on\n"
              "HOST:PORT\" goes to stderr once the socket listens. Ctrl-C or\n"
              "SIGTERM stop it cleanly.")
          ->type_name("HOST:PORT");
  CLI::Option* rapi =
      serve
          ->add_option_function<std::string>(
              "--rapi",
              [request](const std::string& text) {
                if (!text.empty() && !SplitHostPort(text)) {
                  cli_common::BadArgument("bad HOST:PORT '" + text + "'");
                }
                request->rapi.tcp = text.empty() ? DefaultRapiAddress() : text;
              },
              "the handheld's remote API server on TCP (default\n"
              "127.0.0.1:990; PORT 0 picks a free port): desktops pass the\n"
              "device password, then invoke VORNAPIMGR's rsCeApiMgr;\n"
              "connections are served side by side")
          ->type_name("[HOST:PORT]")
          ->expected(0, 1)
          ->default_str("");
  CLI::Option* rapiUnix =
      serve
          ->add_option_function<std::string>(
              "--rapi-unix",
              [request](const std::string& path) {
                request->rapi.unixPath = path;
              },
              "the same on a Unix-domain socket, without the password step")
          ->type_name("PATH");
  serve
      ->add_option_function<std::string>(
          "--password-key",
          [request](const std::string& text) {
            std::optional<std::uint32_t> key = cli_common::ParseUint32(text);
            if (!key || *key > 255) {
              cli_common::BadArgument("--password-key needs 0 to 255");
            }
            request->rapi.passwordKey = static_cast<std::uint8_t>(*key);
            request->rapi.keyGiven = true;
          },
          "the key byte of the password step, 0 to 255 (default 165, 0xA5)")
      ->type_name("N");
  stdio->excludes(listen)->excludes(rapi)->excludes(rapiUnix);
  listen->excludes(rapi)->excludes(rapiUnix);
  CLI::Option* allowRemote =
      serve->add_flag("--allow-remote", request->allowRemote,
                      "allow a HOST that is not a loopback address");
  serve->callback([&work, request, listen, rapi, allowRemote] {
    bool rapiMode = request->rapi.tcp || request->rapi.unixPath;
    if (!request->stdio && listen->count() == 0 && !rapiMode) {
      cli_common::BadArgument(
          "give exactly one of --stdio, --listen HOST:PORT and "
          "--rapi/--rapi-unix");
    }
    if (allowRemote->count() > 0 && listen->count() == 0 &&
        rapi->count() == 0) {
      cli_common::BadArgument("--allow-remote needs --listen or --rapi");
    }
    if (request->rapi.keyGiven && !request->rapi.tcp) {
      cli_common::BadArgument("--password-key needs --rapi");
    }
    work = [request] { return Serve(*request); };
  });
}

}  // namespace cli
