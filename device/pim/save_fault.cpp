#include "device/pim/save_fault.h"

#include <cstdint>
#include <sstream>
#include <string>

namespace device {
namespace {

std::optional<long long> ParseNumber(const std::string& text) {
  try {
    std::size_t used = 0;
    long long value = std::stoll(text, &used, 0);
    if (used != text.size()) return std::nullopt;
    return value;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<HRESULT> TakeSaveFault(FaultSet& faults, std::string_view name) {
  std::optional<std::string> value = faults.Value(name);
  if (!value) return std::nullopt;
  std::istringstream words(*value);
  std::string code;
  std::string count;
  words >> code >> count;
  std::optional<long long> number = ParseNumber(code);
  HRESULT result =
      number ? static_cast<HRESULT>(static_cast<std::uint32_t>(*number))
             : E_FAIL;
  if (!count.empty()) {
    std::optional<long long> left = ParseNumber(count);
    if (!left || *left <= 1) {
      // The fault is known to the catalogue: clearing it cannot fail.
      static_cast<void>(faults.Clear(name));
      if (left && *left < 1) return std::nullopt;
    } else {
      static_cast<void>(
          faults.Set(name, code + " " + std::to_string(*left - 1)));
    }
  }
  return result;
}

}  // namespace device
