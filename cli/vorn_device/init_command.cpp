// vorn-device init IMAGE [--os MAJOR.MINOR.BUILD] [--tz ZONE]
//                        [--machine-id TEXT] [--password TEXT]
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/rapi/device_password.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device init IMAGE [--os MAJOR.MINOR.BUILD] [--tz ZONE] "
    "[--machine-id TEXT]\n"
    "                       [--password TEXT]\n"
    "\n"
    "Creates a new device image at IMAGE (which must not exist).\n"
    "  --os          the handheld's system version (default 3.0.11171)\n"
    "  --tz          IANA time zone name (default UTC); the handheld's time\n"
    "                zone is derived from the host's zone data\n"
    "  --machine-id  the machine identity, stored as HKLM\\SOFTWARE\\Orvanet\n"
    "                MachineID (default: 32 random hexadecimal digits)\n"
    "  --password    the device password of the remote API server (default:\n"
    "                none; see vorn-device password)\n";

int Usage(const std::string& message) {
  return ReportError("init", message, kExitUsage);
}

}  // namespace

int RunInit(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  std::string image;
  device::InitOptions options;
  std::optional<std::string> password;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    std::string* target = nullptr;
    if (arg == "--os") target = &options.os;
    if (arg == "--tz") target = &options.timeZone;
    if (arg == "--machine-id") target = &options.machineId;
    if (arg == "--password") {
      if (i + 1 == args.size()) return Usage(arg + " needs a value");
      password = args[++i];
      device::Status valid = device::DevicePassword::Validate(*password);
      if (!valid.ok()) return Usage(valid.message());
    } else if (target != nullptr) {
      if (i + 1 == args.size()) return Usage(arg + " needs a value");
      *target = args[++i];
      if (arg == "--machine-id" && target->empty()) {
        return Usage("--machine-id must not be empty");
      }
    } else if (arg.starts_with("--")) {
      return Usage("unknown option '" + arg + "'");
    } else if (image.empty()) {
      image = arg;
    } else {
      return Usage("unexpected argument '" + arg + "'");
    }
  }
  if (image.empty()) return Usage("missing IMAGE");
  device::Status valid = device::Device::ValidateInitOptions(options);
  if (!valid.ok()) return Usage(valid.message());
  device::Status status = device::Device::Init(image, options);
  if (!status.ok()) {
    std::cerr << "vorn-device init: " << status.message() << "\n";
    return 1;
  }
  if (!password) return 0;
  int stored = RunInTransaction("init", image, [&](device::Device& handheld) {
    return device::DevicePassword::Set(handheld.image(), *password);
  });
  if (stored != 0) {
    // Leave nothing behind, as for any other failure of init.
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::error_code ignored;
      std::filesystem::remove(image + suffix, ignored);
    }
  }
  return stored;
}

}  // namespace cli
