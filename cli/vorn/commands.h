// The commands of `vorn`. Each takes the parsed command line and returns
// the process exit status: 0 success, 1 failure, 2 bad arguments. Each
// prints its own help for --help.
#ifndef VORN_CLI_VORN_COMMANDS_H_
#define VORN_CLI_VORN_COMMANDS_H_

#include <string>

#include "cli/vorn/command_line.h"

namespace vorn_cli {

int RunRaw(const CommandLine& line);
int RunInfo(const CommandLine& line);
int RunCount(const CommandLine& line);
int RunLs(const CommandLine& line);
int RunGet(const CommandLine& line);
int RunPut(const CommandLine& line);
int RunRm(const CommandLine& line);
int RunPush(const CommandLine& line);
int RunPull(const CommandLine& line);
int RunExport(const CommandLine& line);
int RunSync(const CommandLine& line);
int RunContracts(const CommandLine& line);

// Shared by the commands: a one-line error on standard error.
int Fail(const std::string& message);        // returns 1
int UsageError(const std::string& message);  // returns 2
// Prints `text` (a help text) on standard output and returns 0.
int PrintHelp(const char* text);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_COMMANDS_H_
