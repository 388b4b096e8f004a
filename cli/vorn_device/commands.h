// The commands of vorn-device. Each Define function adds one command to
// the program's command line: its arguments, their checks and its help.
// Once the command line has been parsed, `work` runs the command chosen; it
// writes its output to standard output and its one-line errors to standard
// error, and returns the exit status.
#ifndef VORN_CLI_VORN_DEVICE_COMMANDS_H_
#define VORN_CLI_VORN_DEVICE_COMMANDS_H_

#include <functional>

namespace CLI {
class App;
}  // namespace CLI

namespace cli {

using Work = std::function<int()>;

void DefineInit(CLI::App& app, Work& work);
void DefineServe(CLI::App& app, Work& work);
void DefineReg(CLI::App& app, Work& work);
void DefineFs(CLI::App& app, Work& work);
void DefineFault(CLI::App& app, Work& work);
void DefineDump(CLI::App& app, Work& work);
void DefineChangelog(CLI::App& app, Work& work);
void DefinePim(CLI::App& app, Work& work);
void DefinePassword(CLI::App& app, Work& work);
void DefineNotes(CLI::App& app, Work& work);
void DefineMail(CLI::App& app, Work& work);

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_COMMANDS_H_
