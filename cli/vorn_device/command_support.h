// What the commands of vorn-device share: their one-line errors, the
// transaction around their work and the columns of their listings.
#ifndef VORN_CLI_VORN_DEVICE_COMMAND_SUPPORT_H_
#define VORN_CLI_VORN_DEVICE_COMMAND_SUPPORT_H_

#include <functional>
#include <string>
#include <string_view>

#include "device/device.h"

namespace cli {

inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// Writes "vorn-device COMMAND: MESSAGE" as one line on standard error and
// returns `status`.
int ReportError(std::string_view command, const std::string& message,
                int status);

// Opens the device image `image` and runs `work` on it in one transaction,
// committed when `work` succeeds and `commit` is true, rolled back
// otherwise. Returns 0 on success; a one-line error and kExitFailure when the
// image cannot be opened or fails underneath; a one-line error and
// `failureStatus` when `work` fails.
int RunInTransaction(std::string_view command, const std::string& image,
                     const std::function<device::Status(device::Device&)>& work,
                     int failureStatus = kExitFailure, bool commit = true);

// `text` as one tab-separated column of a listing: control characters
// become spaces, the rest UTF-8.
std::string ListingColumn(const std::u16string& text);

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_COMMAND_SUPPORT_H_
