// vorn-device fault IMAGE set NAME [VALUE] | clear [NAME] | list
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <memory>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Injects faults into the emulated handheld; they stay set in the image\n"
    "until cleared. clear without NAME clears every fault. list prints one\n"
    "line per known fault: NAME, its state (off, on, or on=VALUE) and what\n"
    "it does, separated by tabs.";

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

struct FaultRequest {
  std::string image;
  std::string action;
  std::string name;
  std::string value;
};

int Run(const FaultRequest& request) {
  return RunInTransaction(
      "fault", request.image,
      [&](device::Device& handheld) {
        if (request.action == "set") {
          return handheld.faults().Set(request.name, request.value);
        }
        if (request.action == "clear") {
          return handheld.faults().Clear(request.name);
        }
        PrintList(handheld.faults());
        return device::Status::Ok();
      },
      kExitUsage);
}

// The positional NAME of a fault known to the handheld.
CLI::Option* AddName(CLI::App& action, FaultRequest& request) {
  return action.add_option_function<std::string>(
      "NAME",
      [&request](const std::string& name) {
        if (!IsKnown(name)) {
          cli_common::BadArgument("unknown fault '" + name +
                                  "' (see: fault IMAGE list)");
        }
        request.name = name;
      },
      "a fault named by list");
}

}  // namespace

void DefineFault(CLI::App& app, Work& work) {
  auto request = std::make_shared<FaultRequest>();
  CLI::App* fault =
      app.add_subcommand("fault", "inject faults into the handheld");
  fault->footer(kDetails);
  fault->add_option("IMAGE", request->image, "the device image")->required();
  fault->require_subcommand(1);
  CLI::App* set = fault->add_subcommand("set", "set a fault");
  AddName(*set, *request)->required();
  set->add_option("VALUE", request->value, "what the fault uses, if any");
  CLI::App* clear =
      fault->add_subcommand("clear", "clear one fault, or every fault");
  AddName(*clear, *request);
  CLI::App* list = fault->add_subcommand("list", "list the known faults");
  for (CLI::App* action : {set, clear, list}) {
    action->callback(
        [request, name = action->get_name()] { request->action = name; });
  }
  fault->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
