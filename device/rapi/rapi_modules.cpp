#include "device/rapi/rapi_modules.h"

#include "protocol/rapi.h"

namespace device {
namespace {

// Upper-cased ASCII letters, without a trailing ".DLL".
std::u16string Fold(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& unit : folded) {
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 32);
  }
  if (folded.size() > 4 && folded.ends_with(u".DLL")) {
    folded.resize(folded.size() - 4);
  }
  return folded;
}

}  // namespace

void RapiModules::Add(std::u16string_view module, std::u16string_view function,
                      RapiStreamEntryPoint entry) {
  modules_[Fold(module)][std::u16string(function)] = entry;
}

RapiModules::Lookup RapiModules::Find(std::u16string_view module,
                                      std::u16string_view function) const {
  auto found = modules_.find(Fold(module));
  if (found == modules_.end()) return {nullptr, protocol::kRapiModuleNotFound};
  auto exported = found->second.find(std::u16string(function));
  if (exported == found->second.end()) {
    return {nullptr, protocol::kRapiProcNotFound};
  }
  return {exported->second, 0};
}

}  // namespace device
