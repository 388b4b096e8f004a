// vorn-device password IMAGE set TEXT | clear
#include <algorithm>
#include <iostream>

#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/rapi/device_password.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device password IMAGE set TEXT | clear\n"
    "\n"
    "The handheld's device password, which desktops connecting to the\n"
    "remote API server over TCP must send (serve --rapi). 'clear' removes\n"
    "it: connections then start without the password step.\n";

int Usage(const std::string& message) {
  return ReportError("password", message, kExitUsage);
}

}  // namespace

int RunPassword(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  if (args.empty()) return Usage("missing IMAGE");
  if (args.size() < 2) return Usage("missing set TEXT or clear");
  const std::string& action = args[1];
  if (action == "set") {
    if (args.size() != 3) return Usage("set needs exactly one TEXT");
    device::Status valid = device::DevicePassword::Validate(args[2]);
    if (!valid.ok()) return Usage(valid.message());
    return RunInTransaction("password", args[0], [&](device::Device& handheld) {
      return device::DevicePassword::Set(handheld.image(), args[2]);
    });
  }
  if (action == "clear") {
    if (args.size() != 2) return Usage("clear takes no argument");
    return RunInTransaction("password", args[0], [](device::Device& handheld) {
      device::DevicePassword::Clear(handheld.image());
      return device::Status::Ok();
    });
  }
  return Usage("unknown action '" + action + "' (set TEXT or clear)");
}

}  // namespace cli
