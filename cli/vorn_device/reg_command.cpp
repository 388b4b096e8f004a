// vorn-device reg IMAGE get KEY NAME
// vorn-device reg IMAGE set KEY NAME (--dword N | --sz TEXT)
// vorn-device reg IMAGE delete KEY NAME
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/registry/registry.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Reads and writes the handheld's registry. KEY is written as on the\n"
    "handheld, e.g. \"HKLM\\SOFTWARE\\Orvanet\" (roots HKLM, HKCU, HKCR, HKU\n"
    "or their long names). get prints REG_SZ values as text, REG_DWORD values\n"
    "in decimal, REG_MULTI_SZ one string per line and other types as hex.\n"
    "set creates the key when missing; N is decimal or 0x-prefixed hex.";

struct RegRequest {
  std::string image;
  std::string action;
  std::string key;
  std::string name;
  std::optional<DWORD> dword;
  std::optional<std::string> text;
};

int Run(const RegRequest& request) {
  const std::string& action = request.action;
  const std::string& key = request.key;
  const std::string& name = request.name;
  const std::optional<DWORD>& dword = request.dword;
  const std::optional<std::string>& text = request.text;
  return RunInTransaction("reg", request.image, [&](device::Device& handheld) {
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

// The action `name` with its KEY NAME.
CLI::App* AddAction(CLI::App& reg, const std::string& name,
                    const std::string& description, RegRequest& request) {
  CLI::App* action = reg.add_subcommand(name, description);
  action->add_option("KEY", request.key, "e.g. HKLM\\SOFTWARE\\Orvanet")
      ->required();
  action->add_option("NAME", request.name, "the value's name")->required();
  action->callback([&request, name] { request.action = name; });
  return action;
}

}  // namespace

void DefineReg(CLI::App& app, Work& work) {
  auto request = std::make_shared<RegRequest>();
  CLI::App* reg = app.add_subcommand("reg", "read and write the registry");
  reg->footer(kDetails);
  reg->add_option("IMAGE", request->image, "the device image")->required();
  reg->require_subcommand(1);
  AddAction(*reg, "get", "print a value", *request);
  AddAction(*reg, "delete", "delete a value", *request);
  CLI::App* set = AddAction(*reg, "set", "set a value", *request);
  CLI::Option* dword = cli_common::AddUint32(
      *set, "--dword", [request](DWORD number) { request->dword = number; },
      "a REG_DWORD value, decimal or 0x hex");
  CLI::Option* sz =
      set->add_option_function<std::string>(
             "--sz",
             [request](const std::string& text) { request->text = text; },
             "a REG_SZ value")
          ->type_name("TEXT");
  dword->excludes(sz);
  set->callback([request] {
    if (!request->dword && !request->text) {
      cli_common::BadArgument("set needs --dword N or --sz TEXT");
    }
    request->action = "set";
  });
  reg->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
