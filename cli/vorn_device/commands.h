// The commands of vorn-device. Each takes the arguments after its own name
// (the image path first), writes its output to standard output and its
// one-line errors to standard error, and returns the exit status.
#ifndef VORN_CLI_VORN_DEVICE_COMMANDS_H_
#define VORN_CLI_VORN_DEVICE_COMMANDS_H_

#include <string>
#include <vector>

namespace cli {

using Args = std::vector<std::string>;

int RunInit(const Args& args);
int RunServe(const Args& args);
int RunReg(const Args& args);
int RunFs(const Args& args);
int RunFault(const Args& args);
int RunDump(const Args& args);
int RunChangelog(const Args& args);
int RunPim(const Args& args);
int RunPassword(const Args& args);

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_COMMANDS_H_
