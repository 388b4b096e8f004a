// The handheld's device password: what a desktop must send in the password
// step of a remote API connection over TCP. Kept in the image's table
// `device_password` (one row, the text in UTF-8); no row, no password.
#ifndef VORN_DEVICE_RAPI_DEVICE_PASSWORD_H_
#define VORN_DEVICE_RAPI_DEVICE_PASSWORD_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "device/image/device_image.h"
#include "device/image/status.h"

namespace device {

class DevicePassword {
 public:
  // Longest password in UTF-16 units: its bytes and the NUL must fit the
  // step's u16 byte count.
  static constexpr std::size_t kMaxUnits = 32766;

  // Accepts a non-empty UTF-8 text without NUL characters that fits
  // kMaxUnits; fails with a one-line reason otherwise.
  static Status Validate(std::string_view text);

  // The password of `image`; nullopt when it has none. Only reads, so a
  // second connection to an image in use may ask.
  static std::optional<std::u16string> Get(DeviceImage& image);
  // Sets the password (validated first); the caller owns the transaction.
  static Status Set(DeviceImage& image, std::string_view text);
  // Removes the password; no password is not an error.
  static void Clear(DeviceImage& image);

  // Whether `sent` (the bytes after the u16 count, as received) is
  // `password` with its NUL, each byte XORed with `key`. A missing NUL or
  // an odd count is refused.
  static bool Matches(std::span<const std::uint8_t> sent, std::uint8_t key,
                      std::u16string_view password);
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_DEVICE_PASSWORD_H_
