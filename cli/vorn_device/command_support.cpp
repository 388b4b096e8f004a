#include "cli/vorn_device/command_support.h"

#include <iostream>

#include "device/image/utf8.h"

namespace cli {

int ReportError(std::string_view command, const std::string& message,
                int status) {
  std::cerr << "vorn-device " << command << ": " << message << "\n";
  return status;
}

int RunInTransaction(std::string_view command, const std::string& image,
                     const std::function<device::Status(device::Device&)>& work,
                     int failureStatus, bool commit) {
  auto opened = device::Device::Open(image);
  if (!opened.ok()) {
    return ReportError(command, opened.status().message(), kExitFailure);
  }
  device::Device& handheld = **opened;
  try {
    handheld.image().Begin();
    device::Status status = work(handheld);
    if (!status.ok() || !commit) handheld.image().Rollback();
    if (!status.ok())
      return ReportError(command, status.message(), failureStatus);
    handheld.image().Commit();
  } catch (const device::ImageError& e) {
    // The image rolls back what is left of the transaction when it closes.
    return ReportError(command, e.what(), kExitFailure);
  }
  return 0;
}

std::string ListingColumn(const std::u16string& text) {
  std::u16string plain = text;
  for (char16_t& unit : plain) {
    if (unit < 0x20 || unit == 0x7F) unit = u' ';
  }
  return device::Utf16ToValidUtf8(plain);
}

}  // namespace cli
