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
#include "device/registry.h"

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

  auto opened = device::Device::Open(args[0]);
  if (!opened.ok()) {
    std::cerr << "vorn-device reg: " << opened.status().message() << "\n";
    return 1;
  }
  device::Device& handheld = **opened;
  try {
    handheld.image().Begin();
    device::Status status;
    if (action == "get") {
      auto value = handheld.registry().Get(key, name);
      if (value.ok()) {
        std::cout << device::Registry::Describe(*value) << "\n";
      } else {
        status = value.status();
      }
    } else if (action == "delete") {
      status = handheld.registry().Delete(key, name);
    } else if (dword) {
      status = handheld.registry().SetDword(key, name, *dword);
    } else {
      status = handheld.registry().SetString(key, name, *text);
    }
    if (!status.ok()) {
      handheld.image().Rollback();
      std::cerr << "vorn-device reg: " << status.message() << "\n";
      return 1;
    }
    handheld.image().Commit();
  } catch (const device::ImageError& e) {
    std::cerr << "vorn-device reg: " << e.what() << "\n";
    return 1;
  }
  return 0;
}

}  // namespace cli
