// vorn-device reg IMAGE get KEY NAME
// vorn-device reg IMAGE set KEY NAME (--dword N | --sz TEXT)
// vorn-device reg IMAGE delete KEY NAME
#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>

#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/registry/registry.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device reg IMAGE get KEY NAME\n"
    "       vorn-device reg IMAGE set KEY NAME (--dword N | --sz TEXT)\n"
    "       vorn-device reg IMAGE delete KEY NAME\n"
    "\n"
    "Reads and writes the handheld's registry. KEY is written as on the\n"
    "handheld, e.g. \"HKLM\\SOFTWARE\\Orvanet\" (roots HKLM, HKCU, HKCR, HKU\n"
    "or their long names). get prints REG_SZ values as text, REG_DWORD values\n"
    "in decimal, REG_MULTI_SZ one string per line and other types as hex.\n"
    "set creates the key when missing; N is decimal or 0x-prefixed hex.\n";

int Usage(const std::string& message) {
  return ReportError("reg", message, kExitUsage);
}

}  // namespace

int RunReg(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  if (args.size() < 2) return Usage("missing IMAGE or action (see --help)");
  const std::string& action = args[1];
  std::optional<DWORD> dword;
  std::optional<std::string> text;
  if (action == "get" || action == "delete") {
    if (args.size() != 4) {
      return Usage(action + " needs KEY NAME (see --help)");
    }
  } else if (action == "set") {
    if (args.size() != 6) {
      return Usage("set needs KEY NAME (--dword N | --sz TEXT)");
    }
    if (args[4] == "--dword") {
      dword = ParseDword(args[5]);
      if (!dword) return Usage("--dword needs a number from 0 to 4294967295");
    } else if (args[4] == "--sz") {
      text = args[5];
    } else {
      return Usage("set needs --dword N or --sz TEXT, not '" + args[4] + "'");
    }
  } else {
    return Usage("unknown action '" + action + "' (get, set or delete)");
  }
  const std::string& key = args[2];
  const std::string& name = args[3];

  return RunInTransaction("reg", args[0], [&](device::Device& handheld) {
    device::Registry& registry = handheld.registry();
    if (action == "get") {
      auto value = registry.Get(key, name);
      if (!value.ok()) return value.status();
      std::cout << device::Registry::Describe(*value) << "\n";
      return device::Status::Ok();
    }
    if (action == "delete") return registry.Delete(key, name);
    if (dword) return registry.SetDword(key, name, *dword);
    return registry.SetString(key, name, *text);
  });
}

}  // namespace cli
