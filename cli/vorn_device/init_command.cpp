// vorn-device init IMAGE [--os MAJOR.MINOR.BUILD] [--tz ZONE]
//                        [--machine-id TEXT] [--password TEXT]
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/rapi/device_password.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Creates a new device image at IMAGE. The handheld's time zone is\n"
    "derived from the host's zone data for ZONE; the machine identity is\n"
    "stored as HKLM\\SOFTWARE\\Orvanet MachineID.";

// Creates the image; stores the device password when one is given. Leaves
// nothing behind when either fails.
int Init(const std::string& image, const device::InitOptions& options,
         const std::optional<std::string>& password) {
  device::Status status = device::Device::Init(image, options);
  if (!status.ok()) {
    std::cerr << "vorn-device init: " << status.message() << "\n";
    return kExitFailure;
  }
  if (!password) return 0;
  int stored = RunInTransaction("init", image, [&](device::Device& handheld) {
    return device::DevicePassword::Set(handheld.image(), *password);
  });
  if (stored != 0) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::error_code ignored;
      std::filesystem::remove(image + suffix, ignored);
    }
  }
  return stored;
}

}  // namespace

void DefineInit(CLI::App& app, Work& work) {
  auto image = std::make_shared<std::string>();
  auto options = std::make_shared<device::InitOptions>();
  auto password = std::make_shared<std::optional<std::string>>();
  CLI::App* init = app.add_subcommand("init", "create a new device image");
  init->footer(kDetails);
  init->add_option("IMAGE", *image, "the new image (must not exist)")
      ->required();
  init->add_option("--os", options->os,
                   "the handheld's system version (default 3.0.11171)")
      ->type_name("MAJOR.MINOR.BUILD");
  init->add_option("--tz", options->timeZone,
                   "IANA time zone name (default UTC)")
      ->type_name("ZONE");
  init->add_option_function<std::string>(
          "--machine-id",
          [options](const std::string& text) {
            if (text.empty()) {
              cli_common::BadArgument("--machine-id must not be empty");
            }
            options->machineId = text;
          },
          "the machine identity (default: 32 random hexadecimal digits)")
      ->type_name("TEXT");
  init->add_option_function<std::string>(
          "--password",
          [password](const std::string& text) {
            device::Status valid = device::DevicePassword::Validate(text);
            if (!valid.ok()) cli_common::BadArgument(valid.message());
            *password = text;
          },
          "the device password of the remote API server (default: none;\n"
          "see vorn-device password)")
      ->type_name("TEXT");
  init->callback([&work, image, options, password] {
    device::Status valid = device::Device::ValidateInitOptions(*options);
    if (!valid.ok()) cli_common::BadArgument(valid.message());
    work = [image, options, password] {
      return Init(*image, *options, *password);
    };
  });
}

}  // namespace cli
