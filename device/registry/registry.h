// The handheld's registry, kept in the device image.
//
// Keys form a tree under the four predefined roots (HKEY_CLASSES_ROOT,
// HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS). Key and value names
// compare without regard to case (ASCII, Latin-1, Greek and Cyrillic
// letters). Value data is kept exactly as it was set: REG_SZ values are the
// UTF-16 text with its terminating zero, as the handheld stores them.
//
// Open keys are objects of the kernel handle table. Like the handheld, the
// registry ignores the requested access rights (samDesired is "not
// supported" there): a key opened with KEY_READ can be written through. The
// handheld's protected branches for untrusted applications are not emulated;
// the agent runs trusted.
//
// Tables: reg_keys(id, parent, name, folded) and
// reg_values(key, name, folded, type, data).
#ifndef VORN_DEVICE_REGISTRY_REGISTRY_H_
#define VORN_DEVICE_REGISTRY_REGISTRY_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_context.h"
#include "device/image/status.h"
#include "platform/services.h"

namespace device {

struct RegistryValue {
  DWORD type = 0;
  std::vector<std::uint8_t> data;
};

// One value with the path of its key ("HKLM\SOFTWARE\Orvanet").
struct RegistryEntry {
  std::string key;
  std::string name;
  RegistryValue value;
};

class Registry final : public platform::Registry {
 public:
  // Creates the registry's tables and roots when missing. The context
  // outlives the registry.
  explicit Registry(DeviceContext& context);
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // The platform calls return Win32 error codes and leave the last error
  // alone. Common failures: ERROR_INVALID_HANDLE for a key that is neither
  // open nor predefined; ERROR_INVALID_PARAMETER for a missing out pointer.
  // RegOpenKeyExW: ERROR_FILE_NOT_FOUND when a key of the path is missing
  //   (*result untouched). An empty or null sub-key opens the key again.
  // RegCreateKeyExW: creates every missing key of the path; *disposition
  //   REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY.
  // RegQueryValueExW: ERROR_FILE_NOT_FOUND for a missing value (nothing
  //   written); null data: *size = needed; *size smaller than needed:
  //   ERROR_MORE_DATA with *size = needed and *type set, data untouched.
  // RegDeleteValueW: ERROR_FILE_NOT_FOUND for a missing value.
  // RegCloseKey: closing a predefined root succeeds and does nothing.
#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_REGISTRY_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

  // Helpers for the command line and the device's set-up. Keys are written
  // as on the handheld, "HKLM\SOFTWARE\Orvanet", with the roots HKLM, HKCU,
  // HKCR, HKU or their long names (any case); names and text are UTF-8.

  // The value `name` of `key`; fails when the key or the value is missing.
  Result<RegistryValue> Get(std::string_view key, std::string_view name);
  // Sets `name` of `key`, creating the keys of the path as needed.
  Status Set(std::string_view key, std::string_view name,
             const RegistryValue& value);
  Status SetDword(std::string_view key, std::string_view name, DWORD value);
  // Stores `text` as REG_SZ: UTF-16 with its terminating zero.
  Status SetString(std::string_view key, std::string_view name,
                   std::string_view text);
  // Deletes `name` of `key`; fails when the key or the value is missing.
  Status Delete(std::string_view key, std::string_view name);
  // Every value of the registry, ordered by key path and value name.
  std::vector<RegistryEntry> List();

  // "REG_SZ", "REG_DWORD", ... or the number for unknown types.
  static std::string TypeName(DWORD type);
  // The value as a person reads it: text for REG_SZ and REG_EXPAND_SZ (up
  // to the first zero), decimal for REG_DWORD, one line per string for
  // REG_MULTI_SZ, lowercase hex digits for anything else.
  static std::string Describe(const RegistryValue& value);

 private:
  std::optional<std::int64_t> KeyOf(HKEY key) const;
  std::optional<std::int64_t> FindChild(std::int64_t parent,
                                        std::u16string_view name);
  std::int64_t AddChild(std::int64_t parent, std::u16string_view name);
  // The key at `path` below `base`; creates missing keys when `create`.
  // Sets *created when it made the last key.
  std::optional<std::int64_t> Walk(std::int64_t base, std::u16string_view path,
                                   bool create, bool* created);
  // The root and key of a command-line path, e.g. "HKLM\SOFTWARE".
  Result<std::int64_t> ResolvePath(std::string_view key, bool create);
  std::optional<RegistryValue> Lookup(std::int64_t key,
                                      std::u16string_view name);
  void Store(std::int64_t key, std::u16string_view name,
             const RegistryValue& value);
  bool Remove(std::int64_t key, std::u16string_view name);

  DeviceContext& context_;
};

}  // namespace device

#endif  // VORN_DEVICE_REGISTRY_REGISTRY_H_
