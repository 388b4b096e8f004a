// What every service of the emulated handheld shares: the image it keeps its
// state in, the kernel handle table, the injected faults and the calling
// thread's last error.
#ifndef VORN_DEVICE_IMAGE_DEVICE_CONTEXT_H_
#define VORN_DEVICE_IMAGE_DEVICE_CONTEXT_H_

#include "device/image/device_image.h"
#include "device/image/fault_set.h"
#include "device/image/handle_table.h"
#include "platform/types.h"

namespace device {

struct DeviceContext {
  DeviceImage& image;
  HandleTable& handles;
  FaultSet& faults;
  // The value GetLastError returns; services set it as the handheld does.
  DWORD lastError = ERROR_SUCCESS;
};

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_DEVICE_CONTEXT_H_
