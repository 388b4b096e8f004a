// vorn-device: the emulated handheld's command line.
#include <CLI/CLI.hpp>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/commands.h"
#include "vorn_version.h"

int main(int argc, char** argv) {
  CLI::App app(
      "The emulated handheld. Every command works on one device image, "
      "named\nright after the command.",
      "vorn-device");
  app.footer("'vorn-device COMMAND --help' describes one command.");
  cli_common::ConfigureProgram(app, VORN_VERSION_LINE);
  cli::Work work;
  cli::DefineInit(app, work);
  cli::DefineServe(app, work);
  cli::DefineReg(app, work);
  cli::DefineFs(app, work);
  cli::DefineFault(app, work);
  cli::DefineDump(app, work);
  cli::DefineChangelog(app, work);
  cli::DefinePim(app, work);
  cli::DefinePassword(app, work);
  cli::DefineNotes(app, work);
  cli::DefineMail(app, work);
  cli_common::AddHelpCommand(app);
  if (auto stop = cli_common::ParseCommandLine(app, argc, argv)) return *stop;
  return work();
}
