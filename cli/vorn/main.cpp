// vorn: the desktop's command-line tool for a handheld.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <string>

#include "cli/common/command_line_parser.h"
#include "cli/vorn/command_line.h"
#include "cli/vorn/commands.h"

namespace vorn_cli {

int Fail(const std::string& message) {
  std::fprintf(stderr, "vorn: %s\n", message.c_str());
  return 1;
}

}  // namespace vorn_cli

int main(int argc, char** argv) {
  CLI::App app("", "vorn");
  vorn_cli::CommandLine line;
  std::function<int()> work;
  vorn_cli::DefineCommands(app, line, work);
  if (auto stop = cli_common::ParseCommandLine(app, argc, argv)) return *stop;
  return work();
}
