#include "cli/vorn_device/command_support.h"

#include <charconv>
#include <iostream>

namespace cli {

int ReportError(std::string_view command, const std::string& message,
                int status) {
  std::cerr << "vorn-device " << command << ": " << message << "\n";
  return status;
}

std::optional<DWORD> ParseDword(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  DWORD value = 0;
  auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc() ||
      end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace cli
