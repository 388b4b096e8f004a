// vorn-device fault IMAGE set NAME [VALUE] | clear [NAME] | list
#include <algorithm>
#include <iostream>
#include <map>

#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device fault IMAGE set NAME [VALUE]\n"
    "       vorn-device fault IMAGE clear [NAME]\n"
    "       vorn-device fault IMAGE list\n"
    "\n"
    "Injects faults into the emulated handheld; they stay set in the image\n"
    "until cleared. clear without NAME clears every fault. list prints one\n"
    "line per known fault: NAME, its state (off, on, or on=VALUE) and what\n"
    "it does, separated by tabs.\n";

int Usage(const std::string& message) {
  return ReportError("fault", message, kExitUsage);
}

bool IsKnown(const std::string& name) {
  const auto& catalog = device::FaultSet::Catalog();
  return std::any_of(
      catalog.begin(), catalog.end(),
      [&](const device::FaultInfo& f) { return f.name == name; });
}

void PrintList(device::FaultSet& faults) {
  std::map<std::string, std::string> set;
  for (auto& [name, value] : faults.List()) set[name] = value;
  for (const device::FaultInfo& info : device::FaultSet::Catalog()) {
    auto found = set.find(std::string(info.name));
    std::string state = "off";
    if (found != set.end()) {
      state = found->second.empty() ? "on" : "on=" + found->second;
    }
    std::cout << info.name << "\t" << state << "\t" << info.meaning;
    if (!info.value.empty()) std::cout << " (value: " << info.value << ")";
    std::cout << "\n";
  }
}

}  // namespace

int RunFault(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  if (args.size() < 2) return Usage("missing IMAGE or action (see --help)");
  const std::string& action = args[1];
  if (action == "set") {
    if (args.size() < 3 || args.size() > 4) {
      return Usage("set needs NAME [VALUE]");
    }
  } else if (action == "clear") {
    if (args.size() > 3) return Usage("clear takes at most one NAME");
  } else if (action == "list") {
    if (args.size() != 2) return Usage("list takes no arguments");
  } else {
    return Usage("unknown action '" + action + "' (set, clear or list)");
  }
  if (args.size() >= 3 && !IsKnown(args[2])) {
    return Usage("unknown fault '" + args[2] + "' (see: fault IMAGE list)");
  }

  return RunInTransaction(
      "fault", args[0],
      [&](device::Device& handheld) {
        if (action == "set") {
          return handheld.faults().Set(args[2],
                                       args.size() == 4 ? args[3] : "");
        }
        if (action == "clear") {
          return handheld.faults().Clear(args.size() == 3 ? args[2] : "");
        }
        PrintList(handheld.faults());
        return device::Status::Ok();
      },
      kExitUsage);
}

}  // namespace cli
