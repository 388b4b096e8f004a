// The invoke requests of the handheld's remote API (commands 0x45 and 0x4c,
// layouts in protocol/rapi.h and docs/remote-api.md) and the answers the
// handheld sends to them.
#ifndef VORN_DEVICE_RAPI_INVOKE_REQUEST_H_
#define VORN_DEVICE_RAPI_INVOKE_REQUEST_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "device/image/status.h"

namespace device {

struct InvokeRequest {
  std::uint32_t command = 0;  // protocol::kRapiInvoke or kRapiInvokeCounted
  // The names as sent, up to their first NUL; nullopt when 0x45 flagged
  // the name absent.
  std::optional<std::u16string> module;
  std::optional<std::u16string> function;
  std::vector<std::uint8_t> input;
  bool stream = false;

  // Reads a whole request packet (its first u32 the command, which must be
  // one of the two invokes). Fails naming what is short or malformed.
  static Result<InvokeRequest> Parse(std::span<const std::uint8_t> packet);

  // What the handheld sends back for this request, framing included.
  // Stream mode: 0x45 the raw u32 last error; 0x4c a packet {last error}.
  std::vector<std::uint8_t> StreamAnswer(std::uint32_t lastError) const;
  // Buffer mode: 0x45 a packet {0, last error, result, size, output} and an
  // empty packet; 0x4c a packet {last error, result, size, output}.
  std::vector<std::uint8_t> BufferAnswer(
      std::uint32_t lastError, std::uint32_t result,
      std::span<const std::uint8_t> output) const;
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_INVOKE_REQUEST_H_
