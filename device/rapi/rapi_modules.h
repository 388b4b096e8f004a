// The modules of the handheld that a desktop may invoke through the remote
// API, each with its exported functions. The program that links the agent
// registers it ("VORNAPIMGR" exporting "rsCeApiMgr"); tests register their
// own.
#ifndef VORN_DEVICE_RAPI_RAPI_MODULES_H_
#define VORN_DEVICE_RAPI_RAPI_MODULES_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform/rapi.h"

namespace device {

class RapiModules {
 public:
  // Adds `function` of `module` (replacing an export of the same name).
  void Add(std::u16string_view module, std::u16string_view function,
           RapiStreamEntryPoint entry);

  struct Lookup {
    RapiStreamEntryPoint entry = nullptr;  // null when not found
    std::uint32_t lastError = 0;  // ERROR_MOD_NOT_FOUND, ERROR_PROC_NOT_FOUND
  };
  // Finds `function` in `module`. Module names match without regard to
  // ASCII case and with or without a ".dll" suffix; function names match
  // exactly, as exports do.
  Lookup Find(std::u16string_view module, std::u16string_view function) const;

 private:
  // Folded module name -> export name -> entry point.
  std::map<std::u16string, std::map<std::u16string, RapiStreamEntryPoint>>
      modules_;
};

}  // namespace device

#endif  // VORN_DEVICE_RAPI_RAPI_MODULES_H_
