// vorn: the desktop's command-line tool for a handheld.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/vorn/command_line.h"
#include "cli/vorn/commands.h"

namespace vorn_cli {
namespace {

constexpr char kUsage[] =
    "usage: vorn (--device HOST:PORT | --image IMAGE) COMMAND [ARGS] [--json]\n"
    "\n"
    "Talks to a handheld over TCP (--device) or by starting\n"
    "`vorn-device serve IMAGE --stdio` (--image; vorn-device is taken from\n"
    "$VORN_DEVICE, from beside this program, or from $PATH).\n"
    "--device rapi://HOST[:PORT] (or rapi+unix://PATH) reaches the agent\n"
    "through the handheld's remote API server (`vorn-device serve --rapi`),\n"
    "with --password TEXT and --password-key N (default 165) when the\n"
    "handheld has a device password.\n"
    "\n"
    "commands:\n"
    "  raw HEX...                    send packets, print the replies in hex\n"
    "  info                          machine id and system version test\n"
    "  count TYPE                    number of records\n"
    "  ls TYPE                       object ids of every record\n"
    "  get TYPE OID... [--vcard]     records (contacts are decoded)\n"
    "  put FILE                      add or update contacts from .json/.vcf\n"
    "  rm TYPE OID...                delete records\n"
    "  push HOST_FILE DEVICE_PATH    copy a file to the handheld\n"
    "  pull DEVICE_PATH HOST_FILE    copy a file from the handheld\n"
    "  export DIR                    every contact as DIR/*.vcf\n"
    "  sync DIR [--partner NAME]     mirror the contacts into DIR, then\n"
    "                                only what changed\n"
    "  contracts [rm NAME]           contracts made by sync\n"
    "\n"
    "TYPE is contacts, appointments, tasks, mail or notes (or 1..5).\n"
    "`vorn COMMAND --help` describes a command.\n";

struct Entry {
  const char* name;
  int (*run)(const CommandLine&);
};

constexpr Entry kCommands[] = {
    {"raw", RunRaw},       {"info", RunInfo}, {"count", RunCount},
    {"ls", RunLs},         {"get", RunGet},   {"put", RunPut},
    {"rm", RunRm},         {"push", RunPush}, {"pull", RunPull},
    {"export", RunExport}, {"sync", RunSync}, {"contracts", RunContracts},
};

}  // namespace

int Fail(const std::string& message) {
  std::fprintf(stderr, "vorn: %s\n", message.c_str());
  return 1;
}

int UsageError(const std::string& message) {
  std::fprintf(stderr, "vorn: %s\n", message.c_str());
  return 2;
}

int PrintHelp(const char* text) {
  std::fputs(text, stdout);
  return 0;
}

}  // namespace vorn_cli

int main(int argc, char** argv) {
  using namespace vorn_cli;
  desktop::Result<CommandLine> line = CommandLine::Parse(argc, argv);
  if (!line.ok()) {
    return UsageError(line.status().message() + " (see vorn --help)");
  }
  if (line->command.empty() || line->command == "help") {
    if (line->help || line->command == "help") return PrintHelp(kUsage);
    std::fputs(kUsage, stderr);
    return 2;
  }
  for (const Entry& entry : kCommands) {
    if (line->command != entry.name) continue;
    if (!line->help && line->device.empty() && line->image.empty()) {
      return UsageError(
          "no handheld given: use --device HOST:PORT or "
          "--image IMAGE");
    }
    return entry.run(*line);
  }
  return UsageError("unknown command \"" + line->command +
                    "\" (see vorn --help)");
}
