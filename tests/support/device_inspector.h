// Looks at what the emulated handheld holds, through its own object model,
// the way the handheld's user would see it.
#ifndef VORN_TESTS_SUPPORT_DEVICE_INSPECTOR_H_
#define VORN_TESTS_SUPPORT_DEVICE_INSPECTOR_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/device.h"
#include "platform/pimstore.h"

namespace testing_support {

class DeviceInspector {
 public:
  explicit DeviceInspector(device::Device& device);
  DeviceInspector(const DeviceInspector&) = delete;
  DeviceInspector& operator=(const DeviceInspector&) = delete;
  ~DeviceInspector();

  // A string property of the contact `oid` by its object model name
  // ("FileAs", "FirstName", ...); nullopt when there is no such contact.
  std::optional<std::u16string> ContactString(std::uint32_t oid,
                                              const std::string& name);
  // The raw bytes of a record property, nullopt when the record or the
  // property is missing.
  std::optional<std::vector<std::uint8_t>> RecordBlob(std::uint32_t oid,
                                                      std::uint32_t propId);
  bool RecordHas(std::uint32_t oid, std::uint32_t propId);
  // Number of items in a default folder.
  int Count(int folder);

 private:
  device::ScopedServices services_;
  IPOutlookApp* app_ = nullptr;
};

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_DEVICE_INSPECTOR_H_
