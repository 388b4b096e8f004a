// vorn-device init IMAGE [--os MAJOR.MINOR.BUILD] [--tz ZONE]
//                        [--machine-id TEXT]
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Creates a new device image at IMAGE. The handheld's time zone is\n"
    "derived from the host's zone data for ZONE; the machine identity is\n"
    "stored as HKLM\\SOFTWARE\\Orvanet MachineID.";

}  // namespace

void DefineInit(CLI::App& app, Work& work) {
  auto image = std::make_shared<std::string>();
  auto options = std::make_shared<device::InitOptions>();
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
  init->callback([&work, image, options] {
    device::Status valid = device::Device::ValidateInitOptions(*options);
    if (!valid.ok()) cli_common::BadArgument(valid.message());
    work = [image, options] {
      device::Status status = device::Device::Init(*image, *options);
      if (!status.ok()) {
        std::cerr << "vorn-device init: " << status.message() << "\n";
        return 1;
      }
      return 0;
    };
  });
}

}  // namespace cli
