// vorn-device: the emulated handheld's command line.
#include <iostream>
#include <string>
#include <string_view>

#include "cli/vorn_device/commands.h"

namespace {

constexpr std::string_view kUsage =
    "usage: vorn-device COMMAND IMAGE [ARGS]\n"
    "\n"
    "The emulated handheld. Every command works on one device image.\n"
    "\n"
    "commands:\n"
    "  init IMAGE [--os MAJOR.MINOR.BUILD] [--tz ZONE] [--machine-id TEXT]\n"
    "             [--password TEXT]\n"
    "  serve IMAGE --stdio\n"
    "  serve IMAGE --listen HOST:PORT [--allow-remote]\n"
    "  serve IMAGE --rapi [HOST:PORT] [--password-key N] | --rapi-unix PATH\n"
    "  reg IMAGE get KEY NAME\n"
    "  reg IMAGE set KEY NAME (--dword N | --sz TEXT)\n"
    "  reg IMAGE delete KEY NAME\n"
    "  fs IMAGE put DEVICE_PATH HOST_FILE | get DEVICE_PATH HOST_FILE |\n"
    "           ls [DIR] | rm DEVICE_PATH | attrib DEVICE_PATH (+r|-r)\n"
    "  fault IMAGE set NAME [VALUE] | clear [NAME] | list\n"
    "  dump IMAGE\n"
    "  changelog IMAGE add TYPE --oid N --seq N [--kind K] | ls TYPE\n"
    "  pim IMAGE add TYPE JSON | set TYPE OID JSON | delete TYPE OID |\n"
    "            ls TYPE\n"
    "  password IMAGE set TEXT | clear\n"
    "\n"
    "'vorn-device COMMAND --help' describes one command.\n";

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "vorn-device: missing command (see vorn-device --help)\n";
    return 2;
  }
  std::string command = argv[1];
  if (command == "--help" || command == "-h" || command == "help") {
    std::cout << kUsage;
    return 0;
  }
  cli::Args args(argv + 2, argv + argc);
  if (command == "init") return cli::RunInit(args);
  if (command == "serve") return cli::RunServe(args);
  if (command == "reg") return cli::RunReg(args);
  if (command == "fs") return cli::RunFs(args);
  if (command == "fault") return cli::RunFault(args);
  if (command == "dump") return cli::RunDump(args);
  if (command == "changelog") return cli::RunChangelog(args);
  if (command == "pim") return cli::RunPim(args);
  if (command == "password") return cli::RunPassword(args);
  std::cerr << "vorn-device: unknown command '" << command
            << "' (see vorn-device --help)\n";
  return 2;
}
