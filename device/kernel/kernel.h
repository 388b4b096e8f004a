// The handheld's core kernel services: the last error, handles, the system
// version, the clock and time zone, and loadable modules.
//
// The operating system version is the image's meta value "os"
// (MAJOR.MINOR.BUILD) and the time zone its meta value "tz" (an IANA name
// read from the host's zone data). The only module that can be loaded is
// the object model server "pimstore.dll" (unless the fault
// "pimstore-missing" is set; its one export is "DllRegisterServer") and the
// modules other services install (InstallModule).
#ifndef VORN_DEVICE_KERNEL_KERNEL_H_
#define VORN_DEVICE_KERNEL_KERNEL_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "device/image/device_context.h"
#include "device/kernel/time_zone.h"
#include "platform/services.h"

namespace device {

class Kernel final : public platform::Kernel {
 public:
  // The context outlives the kernel.
  explicit Kernel(DeviceContext& context);
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;
  ~Kernel() override;

  // Replaces the host clock (milliseconds since 1970-01-01 UTC); tests use
  // it to pin the time. An empty function restores the host clock.
  void SetClock(std::function<std::int64_t()> clock);

  // Parses "MAJOR.MINOR.BUILD" (decimal numbers that fit a DWORD) into
  // `parts`; false when `text` is anything else.
  static bool ParseOsVersion(std::string_view text, DWORD (&parts)[3]);

  // A module another service of the handheld provides. Its handle is a
  // fixed base address outside the handle table, so it stays valid from
  // one conversation to the next, as a library a process keeps loaded does.
  struct Module {
    // The file name, matched without regard to ASCII case, with or without
    // its extension.
    std::u16string name;
    // Whether the module is on this handheld now (faults can remove it).
    std::function<bool()> present;
    // The export `name`, or null.
    std::function<FARPROC(std::u16string_view name)> resolve;
  };
  void InstallModule(Module module);
  static constexpr HMODULE kFirstModuleBase = 0x10000000;
  static constexpr HMODULE kModuleSpacing = 0x00100000;

  // The image's meta values that the kernel answers from.
  static constexpr std::string_view kOsVersionMeta = "os";
  static constexpr std::string_view kTimeZoneMeta = "tz";
  // Set to the count of successful registrations of the object model server.
  static constexpr std::string_view kPimServerRegisteredMeta =
      "pim_server_registrations";

  // SetLastError / GetLastError: the context's last error.
  // CloseHandle: FALSE + ERROR_INVALID_HANDLE for a handle that is not open.
  // GetVersionExW: FALSE + ERROR_INVALID_PARAMETER for a null pointer or a
  //   dwOSVersionInfoSize other than sizeof(OSVERSIONINFOW).
  // GetTimeZoneInformation: TIME_ZONE_ID_INVALID + ERROR_CALL_NOT_IMPLEMENTED
  //   when the image's zone cannot be read; the structure is then untouched.
  // LoadLibraryW: NULL + ERROR_MOD_NOT_FOUND for any module but
  //   "pimstore.dll" (any case) and the installed modules that are present.
  //   GetProcAddressW: NULL + ERROR_INVALID_HANDLE for a handle that is not
  //   a loaded module (or an installed module no longer present), NULL +
  //   ERROR_PROC_NOT_FOUND for a name the module does not export.
#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_KERNEL_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

 private:
  // What "pimstore.dll"'s DllRegisterServer does on this handheld.
  HRESULT RegisterPimServer();
  static int DllRegisterServerExport();

  std::int64_t NowMilliseconds() const;
  // The image's zone, loaded once per zone name.
  const TimeZone* CurrentZone();

  // The installed module of a handle, or null.
  const Module* InstalledModule(HMODULE module) const;

  DeviceContext& context_;
  std::vector<Module> modules_;
  std::function<std::int64_t()> clock_;
  std::string zoneName_;
  std::optional<TimeZone> zone_;
};

}  // namespace device

#endif  // VORN_DEVICE_KERNEL_KERNEL_H_
