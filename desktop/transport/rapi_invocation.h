// The desktop's side of the handheld's remote API: reaching the agent the
// way a desktop does. It opens a first connection to the handheld's remote
// API server and passes the password step there (that connection then
// stays idle for as long as the agent's stream lives), then opens a second,
// passes the step again and invokes VORNAPIMGR's rsCeApiMgr in stream mode
// on it. The second connection is then the agent's stream. Layouts in
// protocol/rapi.h and docs/remote-api.md.
//
// Addresses: "rapi://HOST[:PORT]" (TCP, port 990 when left out) and
// "rapi+unix://PATH" (a Unix-domain socket, which has no password step).
#ifndef VORN_DESKTOP_TRANSPORT_RAPI_INVOCATION_H_
#define VORN_DESKTOP_TRANSPORT_RAPI_INVOCATION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/transport/handheld_stream.h"
#include "protocol/rapi.h"

namespace desktop {

struct RapiAddress {
  bool unix_socket = false;
  std::string target;  // "HOST:PORT" or the socket's path
};

struct RapiOptions {
  // The device password; none: no password step.
  std::optional<std::string> password;
  std::uint8_t password_key = protocol::kRapiDefaultPasswordKey;
  // protocol::kRapiInvoke or kRapiInvokeCounted.
  std::uint32_t command = protocol::kRapiInvoke;
};

class RapiInvocation {
 public:
  // Whether `device` is a remote API address (starts with "rapi://" or
  // "rapi+unix://").
  static bool IsRapiAddress(std::string_view device);
  // Parses a remote API address; fails on an empty host, path or bad port.
  static Result<RapiAddress> ParseAddress(std::string_view device);

  // A key byte written in decimal or as 0x hex, 0 to 255.
  static Result<std::uint8_t> ParsePasswordKey(std::string_view text);

  // The bytes of the password step: u16 count, then the UTF-16LE password
  // and NUL, every byte XORed with `key`.
  static std::vector<std::uint8_t> PasswordStep(std::string_view password,
                                                std::uint8_t key);
  // A whole invoke request (u32 length first) of `command` for `function`
  // of `module` with `input`, in stream mode when `stream`.
  static std::vector<std::uint8_t> InvokeRequest(
      std::uint32_t command, std::u16string_view module,
      std::u16string_view function, const std::vector<std::uint8_t>& input,
      bool stream);

  // Connects to `device` twice as described above, passing the password
  // step on each connection (TCP with a password only), and invokes the
  // agent in stream mode. Closing the returned stream closes both
  // connections. Fails with a readable message when a connection fails,
  // the password is refused or the handheld answers a non-zero last error.
  static Result<std::unique_ptr<HandheldStream>> Open(
      std::string_view device, const RapiOptions& options);

  // Runs the password step and the stream-mode invoke of the agent on an
  // open connection.
  static Status Invoke(HandheldStream& stream, bool password_step,
                       const RapiOptions& options);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_RAPI_INVOCATION_H_
