// Save faults of the object model's items that take "HRESULT [COUNT]":
// the save fails with that HRESULT (hexadecimal with 0x, or decimal)
// without saving; with a COUNT only the next COUNT saves fail, and the
// fault clears itself after the last of them.
#ifndef VORN_DEVICE_PIM_SAVE_FAULT_H_
#define VORN_DEVICE_PIM_SAVE_FAULT_H_

#include <optional>
#include <string_view>

#include "device/image/fault_set.h"
#include "platform/types.h"

namespace device {

// The HRESULT the save must fail with now, counting one failure down; or
// nullopt when the fault `name` is not set. A value that is no number
// fails with E_FAIL.
std::optional<HRESULT> TakeSaveFault(FaultSet& faults, std::string_view name);

}  // namespace device

#endif  // VORN_DEVICE_PIM_SAVE_FAULT_H_
