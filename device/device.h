// One emulated handheld: its image and every service the agent reaches
// through the platform layer.
#ifndef VORN_DEVICE_DEVICE_H_
#define VORN_DEVICE_DEVICE_H_

#include <iosfwd>
#include <memory>
#include <string>

#include "device/image/device_context.h"
#include "device/image/device_image.h"
#include "device/image/fault_set.h"
#include "device/image/handle_table.h"
#include "device/image/status.h"
#include "platform/services.h"

namespace device {

class Kernel;
class Registry;
class Com;
class Ui;
class ObjectStore;
class FileSystem;
class RichInk;
class ChangeLogWriter;
class Mapi;

struct InitOptions {
  // MAJOR.MINOR.BUILD of the handheld's operating system.
  std::string os = "3.0.11171";
  // IANA name of the handheld's time zone.
  std::string timeZone = "UTC";
  // The machine identity; generated when empty.
  std::string machineId;
};

class Device {
 public:
  // Creates a new image at `path` with the handheld's initial state.
  // Refuses bad options and a path that exists; leaves nothing behind then.
  static Status Init(const std::string& path, const InitOptions& options);
  // Checks options as Init does: --os is MAJOR.MINOR.BUILD, --tz a zone of
  // the host's zone data that the handheld can express, the machine id at
  // most 255 characters without control characters.
  static Status ValidateInitOptions(const InitOptions& options);
  // Opens an existing image; refuses a file that is not one.
  static Result<std::unique_ptr<Device>> Open(const std::string& path);
  // A new handheld that lives in memory (tests, fuzzing).
  static std::unique_ptr<Device> InMemory(const InitOptions& options = {});

  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device();

  // The services to install with platform::SetServices. They live as long as
  // the device.
  platform::Services services();

  DeviceImage& image() { return *image_; }
  DeviceContext& context() { return context_; }
  FaultSet& faults() { return faults_; }
  HandleTable& handles() { return handles_; }
  Kernel& kernel() { return *kernel_; }
  Registry& registry() { return *registry_; }
  Com& com() { return *com_; }
  Ui& ui() { return *ui_; }
  ObjectStore& objectStore() { return *objectStore_; }
  FileSystem& files() { return *files_; }
  RichInk& richInk() { return *richInk_; }
  // The handheld's component that keeps the change logs of the object
  // model's items; every application object of the device reports to it.
  ChangeLogWriter& changeLog() { return *changeLog_; }
  // The messaging library "CEMAPI.DLL" and the default message store.
  Mapi& mapi() { return *mapi_; }

  // Where message boxes are written (standard error unless changed).
  void SetMessageOutput(std::ostream* out);

  // Per-conversation state is reset here (what a new invocation of the
  // remote API server meets); persistent state stays in the image.
  void BeginConversation();
  void EndConversation();

 private:
  explicit Device(std::unique_ptr<DeviceImage> image);
  void InitializeState(const InitOptions& options);

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  std::unique_ptr<Kernel> kernel_;
  std::unique_ptr<Registry> registry_;
  std::unique_ptr<Com> com_;
  std::unique_ptr<Ui> ui_;
  std::unique_ptr<ObjectStore> objectStore_;
  std::unique_ptr<FileSystem> files_;
  std::unique_ptr<RichInk> richInk_;
  std::unique_ptr<ChangeLogWriter> changeLog_;
  std::unique_ptr<Mapi> mapi_;
};

// Installs a device's services for the lifetime of this object and restores
// the ones before it afterwards.
class ScopedServices {
 public:
  explicit ScopedServices(const platform::Services& services)
      : previous_(platform::SetServices(services)) {}
  ScopedServices(const ScopedServices&) = delete;
  ScopedServices& operator=(const ScopedServices&) = delete;
  ~ScopedServices() { platform::SetServices(previous_); }

 private:
  platform::Services previous_;
};

}  // namespace device

#endif  // VORN_DEVICE_DEVICE_H_
