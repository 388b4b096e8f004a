#include "device/kernel/kernel.h"

#include <charconv>
#include <chrono>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/fault.h"
#include "platform/msgstore.h"

namespace device {
namespace {

constexpr std::u16string_view kPimServerModule = u"pimstore.dll";
constexpr std::u16string_view kPimServerBaseName = u"pimstore";
constexpr std::u16string_view kRegisterExport = u"DllRegisterServer";

// A module loaded with LoadLibraryW; FreeLibrary (or CloseHandle) ends it.
// `installed` is null for the object model server.
class LoadedModule final : public KernelObject {
 public:
  explicit LoadedModule(const Kernel::Module* installed = nullptr)
      : installed_(installed) {}
  const Kernel::Module* installed() const { return installed_; }

 private:
  const Kernel::Module* installed_;
};

// A private heap of HeapCreate: its blocks live until HeapFree or the
// heap's end.
class PrivateHeap final : public KernelObject {
 public:
  std::map<void*, std::unique_ptr<std::uint8_t[]>> blocks;
};

constexpr std::size_t kMaxHeapBlock = std::size_t{16} << 20;

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

// A module's name as the module table keys it: lower case, without folder
// and without ".dll".
std::u16string ModuleKey(std::u16string_view name) {
  std::size_t slash = name.find_last_of(u"\\/");
  if (slash != std::u16string_view::npos) name.remove_prefix(slash + 1);
  std::u16string key;
  for (char16_t c : name) key.push_back(FoldAscii(c));
  if (key.size() > 4 && key.ends_with(u".dll")) key.resize(key.size() - 4);
  return key;
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
  if (!isPimServer) {
    auto installed = modules_.find(ModuleKey(module));
    if (installed == modules_.end() ||
        (!installed->second.missingFault.empty() &&
         context_.faults.IsSet(installed->second.missingFault))) {
      context_.lastError = ERROR_MOD_NOT_FOUND;
      return 0;
    }
    if (installed->second.keptLoaded) {
      for (const auto& [handle, kept] : keptModules_) {
        if (kept == &installed->second) return handle;
      }
    }
    return context_.handles.Add(
        std::make_unique<LoadedModule>(&installed->second));
  }
  if (context_.faults.IsSet("pimstore-missing")) {
    context_.lastError = ERROR_MOD_NOT_FOUND;
    return 0;
  }
  return context_.handles.Add(std::make_unique<LoadedModule>());
}

FARPROC Kernel::GetProcAddressW(HMODULE module, LPCWSTR name) {
  if (auto kept = keptModules_.find(module); kept != keptModules_.end()) {
    if (IsMissing(*kept->second)) {
      context_.lastError = ERROR_INVALID_HANDLE;
      return nullptr;
    }
    FARPROC found = name == nullptr ? nullptr : kept->second->exports(name);
    if (found == nullptr) context_.lastError = ERROR_PROC_NOT_FOUND;
    return found;
  }
  const auto* loaded = context_.handles.Get<LoadedModule>(module);
  if (loaded == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  if (loaded->installed() != nullptr) {
    FARPROC found =
        name == nullptr ? nullptr : loaded->installed()->exports(name);
    if (found == nullptr) context_.lastError = ERROR_PROC_NOT_FOUND;
    return found;
  }
  if (name == nullptr || OrdinalOf(name) != 0 ||
      ZeroTerminated(name) != kRegisterExport) {
    context_.lastError = ERROR_PROC_NOT_FOUND;
    return nullptr;
  }
  g_pimServerOwner = this;
  return &Kernel::DllRegisterServerExport;
}

BOOL Kernel::FreeLibrary(HMODULE module) {
  if (keptModules_.count(module) != 0) return TRUE;  // stays loaded
  if (context_.handles.Get<LoadedModule>(module) == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  context_.handles.Close(module);
  return TRUE;
}

void Kernel::InstallModule(std::u16string_view name, Module module) {
  Module& installed = modules_[ModuleKey(name)] = std::move(module);
  if (installed.keptLoaded) {
    keptModules_[kFirstModuleBase + kModuleSpacing * keptModules_.size()] =
        &installed;
  }
}

bool Kernel::IsMissing(const Module& module) const {
  return !module.missingFault.empty() &&
         context_.faults.IsSet(module.missingFault);
}

HANDLE Kernel::HeapCreate(DWORD /*options*/, std::size_t /*initialSize*/,
                          std::size_t /*maximumSize*/) {
  if (context_.faults.IsSet("heap-create-fails")) {
    context_.lastError = ERROR_NOT_ENOUGH_MEMORY;
    return 0;
  }
  return context_.handles.Add(std::make_unique<PrivateHeap>());
}

void* Kernel::HeapAlloc(HANDLE heap, DWORD flags, std::size_t bytes) {
  auto* owner = context_.handles.Get<PrivateHeap>(heap);
  if (owner == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  if (bytes > kMaxHeapBlock) {
    context_.lastError = ERROR_NOT_ENOUGH_MEMORY;
    return nullptr;
  }
  std::size_t size = bytes == 0 ? 1 : bytes;
  auto block = (flags & HEAP_ZERO_MEMORY) != 0
                   ? std::make_unique<std::uint8_t[]>(size)
                   : std::make_unique_for_overwrite<std::uint8_t[]>(size);
  void* address = block.get();
  owner->blocks.emplace(address, std::move(block));
  return address;
}

BOOL Kernel::HeapFree(HANDLE heap, DWORD /*flags*/, void* block) {
  auto* owner = context_.handles.Get<PrivateHeap>(heap);
  if (owner == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  if (owner->blocks.erase(block) == 0) {
    context_.lastError = ERROR_INVALID_PARAMETER;
    return FALSE;
  }
  return TRUE;
}

BOOL Kernel::HeapDestroy(HANDLE heap) {
  if (context_.handles.Get<PrivateHeap>(heap) == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  context_.handles.Close(heap);
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
