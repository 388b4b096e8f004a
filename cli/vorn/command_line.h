// The command line of `vorn`: the global options every command reads, the
// names of the data types, and the definitions of the commands, their
// arguments and their help.
#ifndef VORN_CLI_VORN_COMMAND_LINE_H_
#define VORN_CLI_VORN_COMMAND_LINE_H_

#include <functional>
#include <optional>
#include <string>

#include "desktop/base/status.h"
#include "protocol/wire.h"

namespace CLI {
class App;
}  // namespace CLI

namespace vorn_cli {

// The global options, given before or after the command.
struct CommandLine {
  std::string device;  // --device HOST:PORT | rapi://... | rapi+unix://...
  std::optional<std::string> password;  // --password TEXT (remote API)
  std::string password_key;             // --password-key N (remote API)
  std::string image;                    // --image IMAGE
  bool json = false;                    // --json
  std::string tz;  // --tz ZONE: the handheld's time zone (IANA name)
};

// Defines every command of `vorn` on `app`, with its global options bound
// to `line`. Once `app` has parsed a command line naming a command, `work`
// runs that command and returns its exit status.
void DefineCommands(CLI::App& app, CommandLine& line,
                    std::function<int()>& work);

// "contacts" (or 1) .. "notes" (or 5).
desktop::Result<protocol::DataType> ParseDataType(const std::string& text);
const char* DataTypeName(protocol::DataType type);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_COMMAND_LINE_H_
