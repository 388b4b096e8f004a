#include "cli/vorn/hex.h"

namespace vorn_cli {

desktop::Result<std::vector<std::uint8_t>> ParseHex(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  int high = -1;
  for (char c : text) {
    int d;
    if (c >= '0' && c <= '9') {
      d = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      d = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      d = c - 'A' + 10;
    } else if ((c == ' ' || c == ':' || c == '-') && high < 0) {
      continue;
    } else {
      return desktop::Status::Error("bad hex \"" + text + "\"");
    }
    if (high < 0) {
      high = d;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high << 4 | d));
      high = -1;
    }
  }
  if (high >= 0) {
    return desktop::Status::Error("odd number of hex digits in \"" + text +
                                  "\"");
  }
  return bytes;
}

std::string ToHex(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (std::uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

}  // namespace vorn_cli
