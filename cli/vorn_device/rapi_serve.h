// vorn-device serve IMAGE --rapi [HOST:PORT] [--password-key N] |
//                         --rapi-unix PATH: the handheld's remote API server.
#ifndef VORN_CLI_VORN_DEVICE_RAPI_SERVE_H_
#define VORN_CLI_VORN_DEVICE_RAPI_SERVE_H_

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/rapi.h"

namespace cli {

struct RapiServeOptions {
  std::optional<std::string> tcp;       // HOST:PORT
  std::optional<std::string> unixPath;  // a Unix-domain socket
  std::uint8_t passwordKey = protocol::kRapiDefaultPasswordKey;
  bool keyGiven = false;
  bool allowRemote = false;
};

// "127.0.0.1:990".
std::string DefaultRapiAddress();

// Serves the remote API of the handheld in `image` on the given listeners
// until SIGINT or SIGTERM. Prints "listening on ADDRESS" on stderr once per
// listener. Returns the exit status.
int ServeRapi(const std::string& image, const RapiServeOptions& options);

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_RAPI_SERVE_H_
