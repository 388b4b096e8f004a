#include "device/kernel/kernel.h"

#include <charconv>
#include <chrono>
#include <string_view>

#include "platform/fault.h"

namespace device {
namespace {

constexpr std::u16string_view kPimServerModule = u"pimstore.dll";
constexpr std::u16string_view kPimServerBaseName = u"pimstore";
constexpr std::u16string_view kRegisterExport = u"DllRegisterServer";

// A module loaded with LoadLibraryW; FreeLibrary (or CloseHandle) ends it.
class LoadedModule final : public KernelObject {};

// The kernel whose "pimstore.dll" export was handed out last. The export is
// a plain function, so it finds its handheld here, the way a module's code
// reaches its own process.
Kernel* g_pimServerOwner = nullptr;

char16_t FoldAscii(char16_t c) {
  return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

std::u16string_view ZeroTerminated(LPCWSTR text) {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return std::u16string_view(text, length);
}

}  // namespace

bool Kernel::ParseOsVersion(std::string_view text, DWORD (&parts)[3]) {
  const char* p = text.data();
  const char* end = text.data() + text.size();
  for (int i = 0; i < 3; ++i) {
    auto [next, error] = std::from_chars(p, end, parts[i]);
    if (error != std::errc() || next == p) return false;
    p = next;
    if (i < 2) {
      if (p == end || *p != '.') return false;
      ++p;
    }
  }
  return p == end;
}

Kernel::Kernel(DeviceContext& context) : context_(context) {}

Kernel::~Kernel() {
  if (g_pimServerOwner == this) g_pimServerOwner = nullptr;
}

void Kernel::SetClock(std::function<std::int64_t()> clock) {
  clock_ = std::move(clock);
}

std::int64_t Kernel::NowMilliseconds() const {
  if (clock_) return clock_();
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

DWORD Kernel::GetLastError() { return context_.lastError; }

void Kernel::SetLastError(DWORD error) { context_.lastError = error; }

BOOL Kernel::CloseHandle(HANDLE handle) {
  if (!context_.handles.Close(handle)) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  return TRUE;
}

BOOL Kernel::GetVersionExW(OSVERSIONINFOW* info) {
  if (info == nullptr || info->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW)) {
    context_.lastError = ERROR_INVALID_PARAMETER;
    return FALSE;
  }
  DWORD parts[3] = {};
  std::string os = context_.image.GetMeta(kOsVersionMeta, "3.0.11171");
  if (!ParseOsVersion(os, parts)) {
    // Init refuses such versions; an image edited by hand may still have one.
    context_.lastError = ERROR_INVALID_DATA;
    return FALSE;
  }
  info->dwMajorVersion = parts[0];
  info->dwMinorVersion = parts[1];
  info->dwBuildNumber = parts[2];
  info->dwPlatformId = VER_PLATFORM_WIN32_CE;
  for (WCHAR& c : info->szCSDVersion) c = 0;
  return TRUE;
}

const TimeZone* Kernel::CurrentZone() {
  std::string name = context_.image.GetMeta(kTimeZoneMeta, "UTC");
  if (!zone_ || name != zoneName_) {
    Result<TimeZone> loaded = TimeZone::Load(name);
    if (!loaded.ok()) {
      zone_.reset();
      return nullptr;
    }
    zone_ = loaded.value();
    zoneName_ = name;
  }
  return &*zone_;
}

DWORD Kernel::GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  const TimeZone* current = CurrentZone();
  if (current == nullptr) {
    context_.lastError = ERROR_CALL_NOT_IMPLEMENTED;
    return TIME_ZONE_ID_INVALID;
  }
  if (zone == nullptr) {
    context_.lastError = ERROR_INVALID_PARAMETER;
    return TIME_ZONE_ID_INVALID;
  }
  *zone = current->information();
  return current->IdAt(NowMilliseconds() / 1000);
}

void Kernel::GetSystemTime(SYSTEMTIME* time) {
  *time = SystemTimeFromUnixMilliseconds(NowMilliseconds());
}

void Kernel::GetLocalTime(SYSTEMTIME* time) {
  std::int64_t now = NowMilliseconds();
  const TimeZone* current = CurrentZone();
  std::int64_t offset =
      current == nullptr ? 0 : current->OffsetMinutesAt(now / 1000);
  *time = SystemTimeFromUnixMilliseconds(now + offset * 60000);
}

HMODULE Kernel::LoadLibraryW(LPCWSTR name) {
  if (name == nullptr) {
    context_.lastError = ERROR_INVALID_PARAMETER;
    return 0;
  }
  std::u16string_view module = ZeroTerminated(name);
  std::size_t slash = module.find_last_of(u"\\/");
  if (slash != std::u16string_view::npos) module.remove_prefix(slash + 1);
  bool isPimServer = EqualsIgnoringAsciiCase(module, kPimServerModule) ||
                     EqualsIgnoringAsciiCase(module, kPimServerBaseName);
  for (std::size_t i = 0; i < modules_.size(); ++i) {
    std::u16string_view name = modules_[i].name;
    std::u16string_view base = name.substr(0, name.rfind(u'.'));
    if (!EqualsIgnoringAsciiCase(module, name) &&
        !EqualsIgnoringAsciiCase(module, base)) {
      continue;
    }
    if (!modules_[i].present()) break;
    return kFirstModuleBase + kModuleSpacing * i;
  }
  if (!isPimServer || context_.faults.IsSet("pimstore-missing")) {
    context_.lastError = ERROR_MOD_NOT_FOUND;
    return 0;
  }
  return context_.handles.Add(std::make_unique<LoadedModule>());
}

void Kernel::InstallModule(Module module) {
  modules_.push_back(std::move(module));
}

const Kernel::Module* Kernel::InstalledModule(HMODULE module) const {
  if (module < kFirstModuleBase ||
      (module - kFirstModuleBase) % kModuleSpacing != 0) {
    return nullptr;
  }
  std::size_t index = (module - kFirstModuleBase) / kModuleSpacing;
  return index < modules_.size() ? &modules_[index] : nullptr;
}

FARPROC Kernel::GetProcAddressW(HMODULE module, LPCWSTR name) {
  if (const Module* installed = InstalledModule(module)) {
    if (!installed->present()) {
      context_.lastError = ERROR_INVALID_HANDLE;
      return nullptr;
    }
    FARPROC found =
        name == nullptr ? nullptr : installed->resolve(ZeroTerminated(name));
    if (found == nullptr) context_.lastError = ERROR_PROC_NOT_FOUND;
    return found;
  }
  if (context_.handles.Get<LoadedModule>(module) == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  if (name == nullptr || ZeroTerminated(name) != kRegisterExport) {
    context_.lastError = ERROR_PROC_NOT_FOUND;
    return nullptr;
  }
  g_pimServerOwner = this;
  return &Kernel::DllRegisterServerExport;
}

BOOL Kernel::FreeLibrary(HMODULE module) {
  // Installed modules stay loaded for the life of the handheld.
  if (InstalledModule(module) != nullptr) return TRUE;
  if (context_.handles.Get<LoadedModule>(module) == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  context_.handles.Close(module);
  return TRUE;
}

int Kernel::DllRegisterServerExport() {
  // Called after its handheld is gone: code of a module that no longer
  // exists, which on the handheld is a fault.
  if (g_pimServerOwner == nullptr) {
    throw platform::Fault("DllRegisterServer called after its handheld ended");
  }
  return g_pimServerOwner->RegisterPimServer();
}

HRESULT Kernel::RegisterPimServer() {
  if (context_.faults.IsSet("register-fails")) return E_FAIL;
  std::string count = context_.image.GetMeta(kPimServerRegisteredMeta, "0");
  int registrations = 0;
  std::from_chars(count.data(), count.data() + count.size(), registrations);
  context_.image.SetMeta(kPimServerRegisteredMeta,
                         std::to_string(registrations + 1));
  return S_OK;
}

}  // namespace device
