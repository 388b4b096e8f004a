#include "device/device.h"

#include <filesystem>
#include <random>

#include "device/com/com.h"
#include "device/fs/file_system.h"
#include "device/kernel/kernel.h"
#include "device/kernel/ole_date.h"
#include "device/kernel/time_zone.h"
#include "device/mapi/mapi.h"
#include "device/objstore/object_store.h"
#include "device/pim/change_log_writer.h"
#include "device/registry/registry.h"
#include "device/richink/rich_ink.h"
#include "device/ui/ui.h"

namespace device {
namespace {

constexpr std::string_view kMachineKey = "HKLM\\SOFTWARE\\Orvanet";
constexpr std::string_view kMachineIdValue = "MachineID";
constexpr std::string_view kPimKey = "HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook";
constexpr std::string_view kPimSwitchValue = "Outlook";
constexpr std::string_view kConversationsMeta = "conversations";
constexpr std::size_t kMaxMachineIdLength = 255;

// 32 hexadecimal digits from the host's random source.
std::string NewMachineId() {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::random_device random;
  std::string id;
  while (id.size() < 32) {
    unsigned int bits = random();
    for (int i = 0; i < 8 && id.size() < 32; ++i, bits >>= 4) {
      id.push_back(kDigits[bits & 15]);
    }
  }
  return id;
}

void Check(const Status& status) {
  if (!status.ok()) throw ImageError(status.message());
}

// Removes the image at `path` and the files SQLite keeps beside it.
void RemoveImageFiles(const std::string& path) {
  std::error_code ignored;
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::remove(path + suffix, ignored);
  }
}

}  // namespace

Device::Device(std::unique_ptr<DeviceImage> image)
    : image_(std::move(image)),
      faults_(*image_),
      context_{*image_, handles_, faults_, ERROR_SUCCESS} {
  kernel_ = std::make_unique<Kernel>(context_);
  registry_ = std::make_unique<Registry>(context_);
  ui_ = std::make_unique<Ui>(context_);
  objectStore_ = std::make_unique<ObjectStore>(context_);
  files_ = std::make_unique<FileSystem>(context_);
  richInk_ = std::make_unique<RichInk>(context_);
  com_ = std::make_unique<Com>(context_, *objectStore_);
  changeLog_ =
      std::make_unique<ChangeLogWriter>(context_, *objectStore_, *registry_);
  ChangeLogWriter* changeLog = changeLog_.get();
  com_->SetChangeHook([changeLog](int itemType, CEOID oid, int kind) {
    changeLog->OnChange(itemType, oid, kind);
  });
  Kernel* kernel = kernel_.get();
  com_->SetClock([kernel]() -> std::optional<DATE> {
    SYSTEMTIME now = {};
    kernel->GetLocalTime(&now);
    return SystemTimeToOleDate(now);
  });
  mapi_ = std::make_unique<Mapi>(context_);
  mapi_->SetChangeHook([changeLog](DWORD key, int kind) {
    // The log's own failures cannot fail the store's caller; the writer
    // keeps the log and the registry as they were then.
    (void)changeLog->AppendMail(key, kind);
  });
  Mapi* mapi = mapi_.get();
  kernel_->InstallModule(Kernel::Module{
      std::u16string(Mapi::kModuleName), [mapi]() { return mapi->Present(); },
      [mapi](std::u16string_view name) { return mapi->Resolve(name); }});
  FileSystem* files = files_.get();
  objectStore_->SetFileInfoSource([files](CEOID oid, CEOIDINFO* info) {
    return files->GetOidInfo(oid, info);
  });
}

Device::~Device() {
  // Open objects may refer to the services; they go first.
  handles_.CloseAll();
  mapi_->EndConversation();
}

Status Device::ValidateInitOptions(const InitOptions& options) {
  DWORD parts[3];
  if (!Kernel::ParseOsVersion(options.os, parts)) {
    return Status::Error("bad --os '" + options.os +
                         "' (expected MAJOR.MINOR.BUILD, e.g. 3.0.11171)");
  }
  Result<TimeZone> zone = TimeZone::Load(options.timeZone);
  if (!zone.ok()) return Status::Error("bad --tz: " + zone.status().message());
  if (options.machineId.size() > kMaxMachineIdLength) {
    return Status::Error("bad --machine-id: longer than 255 characters");
  }
  for (char c : options.machineId) {
    auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      return Status::Error("bad --machine-id: contains control characters");
    }
  }
  return Status::Ok();
}

Status Device::Init(const std::string& path, const InitOptions& options) {
  Status valid = ValidateInitOptions(options);
  if (!valid.ok()) return valid;
  Result<std::unique_ptr<DeviceImage>> created = DeviceImage::Create(path);
  if (!created.ok()) return created.status();
  // From here on the file is ours: any failure removes it again.
  try {
    std::unique_ptr<Device> device(new Device(std::move(created.value())));
    device->image().Begin();
    device->InitializeState(options);
    device->image().Commit();
  } catch (const std::exception& e) {
    RemoveImageFiles(path);
    return Status::Error(path + ": cannot initialise: " + e.what());
  }
  return Status::Ok();
}

Result<std::unique_ptr<Device>> Device::Open(const std::string& path) {
  Result<std::unique_ptr<DeviceImage>> opened = DeviceImage::Open(path);
  if (!opened.ok()) return opened.status();
  try {
    return std::unique_ptr<Device>(new Device(std::move(opened.value())));
  } catch (const ImageError& e) {
    return Status::Error(path + ": device image is damaged (" + e.what() + ")");
  }
}

std::unique_ptr<Device> Device::InMemory(const InitOptions& options) {
  std::unique_ptr<Device> device(new Device(DeviceImage::InMemory()));
  device->InitializeState(options);
  return device;
}

void Device::InitializeState(const InitOptions& options) {
  image_->SetMeta(Kernel::kOsVersionMeta, options.os);
  image_->SetMeta(Kernel::kTimeZoneMeta, options.timeZone);
  image_->SetMeta(kConversationsMeta, "0");
  std::string machineId =
      options.machineId.empty() ? NewMachineId() : options.machineId;
  Check(registry_->SetString(kMachineKey, kMachineIdValue, machineId));
  Check(registry_->SetDword(kPimKey, kPimSwitchValue, 1));
}

platform::Services Device::services() {
  platform::Services services;
  services.kernel = kernel_.get();
  services.registry = registry_.get();
  services.com = com_.get();
  services.ui = ui_.get();
  services.objectStore = objectStore_.get();
  services.files = files_.get();
  services.richInk = richInk_.get();
  return services;
}

void Device::SetMessageOutput(std::ostream* out) { ui_->SetOutput(out); }

void Device::BeginConversation() {
  handles_.CloseAll();
  mapi_->EndConversation();
  richInk_->DestroyAllWindows();
  context_.lastError = ERROR_SUCCESS;
  std::int64_t number =
      std::stoll(image_->GetMeta(kConversationsMeta, "0")) + 1;
  image_->SetMeta(kConversationsMeta, std::to_string(number));
  com_->BeginConversation(number);
}

void Device::EndConversation() {
  // The remote API server's invocation ends: what it left open goes.
  handles_.CloseAll();
  mapi_->EndConversation();
  richInk_->DestroyAllWindows();
}

}  // namespace device
