// Faults injected into the emulated handheld, kept in the device image so
// that `vorn-device fault set` before `serve` changes what the next
// conversation meets. Every fault the handheld knows is listed in
// FaultSet::Catalog() with its meaning; others are refused.
#ifndef VORN_DEVICE_IMAGE_FAULT_SET_H_
#define VORN_DEVICE_IMAGE_FAULT_SET_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/image/device_image.h"
#include "device/image/status.h"

namespace device {

struct FaultInfo {
  std::string_view name;
  // How the value is used: empty when the fault takes none.
  std::string_view value;
  std::string_view meaning;
};

class FaultSet {
 public:
  explicit FaultSet(DeviceImage& image);
  FaultSet(const FaultSet&) = delete;
  FaultSet& operator=(const FaultSet&) = delete;

  static const std::vector<FaultInfo>& Catalog();

  // Sets a fault of the catalogue; a fault that needs a value must get one.
  Status Set(std::string_view name, std::string_view value);
  // Clears one fault (error if unknown) or, with an empty name, all.
  Status Clear(std::string_view name);
  bool IsSet(std::string_view name) const;
  // The value of a set fault; nullopt when it is not set.
  std::optional<std::string> Value(std::string_view name) const;
  // Every set fault with its value, by name.
  std::vector<std::pair<std::string, std::string>> List() const;

 private:
  DeviceImage& image_;
};

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_FAULT_SET_H_
