// Hex text for the raw packet tool.
#ifndef VORN_CLI_VORN_HEX_H_
#define VORN_CLI_VORN_HEX_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "desktop/base/status.h"

namespace vorn_cli {

// Reads hex digits; spaces, ':' and '-' between bytes are allowed. Fails on
// anything else or an odd number of digits.
desktop::Result<std::vector<std::uint8_t>> ParseHex(const std::string& text);
// Lower-case hex, two digits per byte, no separators.
std::string ToHex(std::span<const std::uint8_t> bytes);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_HEX_H_
