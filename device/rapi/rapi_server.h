// The handheld's remote API server: accepts desktops on its listeners,
// checks the device password of TCP connections, and serves their invoke
// requests by calling the registered modules' exports (docs/remote-api.md).
//
// Every connection has its own thread, so an idle or slow desktop never
// holds up another. The calls themselves run one at a time on the one
// emulated handheld (module state, such as the agent's, lives on between
// them): an invoke that finds another call running waits for it, and one
// that waits longer than the busy timeout is refused with ERROR_BUSY.
#ifndef VORN_DEVICE_RAPI_RAPI_SERVER_H_
#define VORN_DEVICE_RAPI_RAPI_SERVER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "device/device.h"
#include "device/rapi/rapi_listener.h"
#include "device/rapi/rapi_modules.h"
#include "protocol/rapi.h"

namespace device {

struct RapiServerOptions {
  // How long an invoke waits for the call before it; 30 seconds.
  static constexpr std::chrono::milliseconds kDefaultBusyTimeout{30'000};
  // Connections open at once; one more is closed as soon as it is accepted.
  static constexpr std::size_t kDefaultMaxConnections = 64;

  // The key byte of the password step.
  std::uint8_t passwordKey = protocol::kRapiDefaultPasswordKey;
  std::chrono::milliseconds busyTimeout = kDefaultBusyTimeout;
  std::size_t maxConnections = kDefaultMaxConnections;
  // Where refusals and failures are reported, one line each.
  std::ostream* log = nullptr;
};

// The device password as it stands now (nullopt: none). Asked once per TCP
// connection, never while the server holds its call lock, so it must not
// touch the device the calls run on (give it its own image connection).
using RapiPasswordLookup = std::function<std::optional<std::u16string>()>;

class RapiServer {
 public:
  // `device` outlives the server; `options.log` too when set.
  RapiServer(Device& device, RapiModules modules, RapiPasswordLookup password,
             RapiServerOptions options);
  RapiServer(const RapiServer&) = delete;
  RapiServer& operator=(const RapiServer&) = delete;
  // Stops serving (as Stop and the end of Serve do) if Serve still runs.
  ~RapiServer();

  // Accepts connections on `listeners` until Stop, then ends every open
  // connection (a call in progress meets a closed stream), waits for their
  // threads, commits the image and closes the listeners. Fails only when
  // the server cannot wait for its listeners.
  Status Serve(std::vector<RapiListener> listeners);

  // Makes Serve return. Safe in a signal handler and from any thread;
  // before Serve it makes Serve return at once.
  void Stop();

  // How many connections are open now (tests).
  std::size_t OpenConnections();

 private:
  friend class RapiConnection;
  struct Connection {
    int id = 0;
    int fd = -1;
    bool local = false;
    bool finished = false;
    std::thread thread;
  };

  void Start(int fd, bool local);
  void RunConnection(Connection* connection);
  void ReapFinished();
  void Log(const std::string& line);
  // Asks the password lookup, one connection at a time; nullopt on failure
  // too (with a log line), in which case *failed is set.
  std::optional<std::u16string> Password(bool* failed);

  Device& device_;
  RapiModules modules_;
  RapiPasswordLookup password_;
  RapiServerOptions options_;
  int wake_[2] = {-1, -1};

  std::timed_mutex callLock_;  // one call on the handheld at a time
  std::mutex passwordLock_;
  std::mutex logLock_;
  std::mutex connectionsLock_;
  std::list<std::unique_ptr<Connection>> connections_;
  int nextId_ = 1;
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_RAPI_SERVER_H_
