// One desktop's connection to the handheld's remote API server: the
// password step, then request packets until the desktop leaves, an invoke
// in stream mode hands the connection over as the call's stream, or a
// request is refused.
#ifndef VORN_DEVICE_RAPI_RAPI_CONNECTION_H_
#define VORN_DEVICE_RAPI_RAPI_CONNECTION_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "device/rapi/invoke_request.h"

namespace device {

class RapiServer;

class RapiConnection {
 public:
  // Serves the connected socket `fd` (owned by the caller) for `server`;
  // `local` connections skip the password step. `id` names it in log lines.
  RapiConnection(RapiServer& server, int fd, bool local, int id)
      : server_(server), fd_(fd), local_(local), id_(id) {}
  RapiConnection(const RapiConnection&) = delete;
  RapiConnection& operator=(const RapiConnection&) = delete;

  // Returns when the connection is done with; the caller closes it.
  void Run();

 private:
  // The password step when the handheld has a password; false when the
  // desktop is refused or gone.
  bool CheckPassword();
  // Serves one invoke; true when the connection takes another request.
  bool Invoke(const InvokeRequest& request);
  // Answers a refused invoke with `lastError` and logs why.
  void Refuse(const InvokeRequest& request, std::uint32_t lastError,
              const std::string& why);

  // Fills `buffer`; false when the desktop closed or the socket broke.
  bool ReadExact(std::span<std::uint8_t> buffer);
  bool WriteAll(std::span<const std::uint8_t> bytes);
  void Log(const std::string& text);

  RapiServer& server_;
  int fd_;
  bool local_;
  int id_;
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_RAPI_CONNECTION_H_
