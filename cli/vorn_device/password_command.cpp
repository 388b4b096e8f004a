// vorn-device password IMAGE set TEXT | clear
#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/rapi/device_password.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "The handheld's device password, which desktops connecting to the\n"
    "remote API server over TCP must send (serve --rapi). 'clear' removes\n"
    "it: connections then start without the password step.";

}  // namespace

void DefinePassword(CLI::App& app, Work& work) {
  auto image = std::make_shared<std::string>();
  auto text = std::make_shared<std::string>();
  CLI::App* password = app.add_subcommand(
      "password", "set or clear the remote API server's device password");
  password->footer(kDetails);
  password->add_option("IMAGE", *image, "the device image")->required();
  password->require_subcommand(1);

  CLI::App* set = password->add_subcommand("set", "set the password");
  set->add_option_function<std::string>(
         "TEXT",
         [text](const std::string& given) {
           device::Status valid = device::DevicePassword::Validate(given);
           if (!valid.ok()) cli_common::BadArgument(valid.message());
           *text = given;
         },
         "the new password")
      ->required();
  set->callback([&work, image, text] {
    work = [image, text] {
      return RunInTransaction(
          "password", *image, [&](device::Device& handheld) {
            return device::DevicePassword::Set(handheld.image(), *text);
          });
    };
  });

  CLI::App* clear = password->add_subcommand("clear", "remove the password");
  clear->callback([&work, image] {
    work = [image] {
      return RunInTransaction("password", *image, [](device::Device& handheld) {
        device::DevicePassword::Clear(handheld.image());
        return device::Status::Ok();
      });
    };
  });
}

}  // namespace cli
