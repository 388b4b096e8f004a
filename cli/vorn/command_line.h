// The parsed command line of `vorn`: global options, the command, its
// positional arguments and its own flags.
#ifndef VORN_CLI_VORN_COMMAND_LINE_H_
#define VORN_CLI_VORN_COMMAND_LINE_H_

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "protocol/wire.h"

namespace vorn_cli {

struct CommandLine {
  std::string device;  // --device HOST:PORT | rapi://... | rapi+unix://...
  std::optional<std::string> password;  // --password TEXT (remote API)
  std::string password_key;             // --password-key N (remote API)
  std::string image;                    // --image IMAGE
  bool json = false;                    // --json
  bool help = false;                    // --help or -h
  std::string command;                  // first positional argument
  std::vector<std::string> args;        // the other positional arguments
  std::set<std::string> flags;          // other --flags, without values

  // Splits argv. Options may stand before or after the command. Fails on a
  // global option without its value or with both --device and --image.
  static desktop::Result<CommandLine> Parse(int argc, char** argv);

  bool Flag(const std::string& name) const { return flags.count(name) != 0; }
  // Fails naming the first flag not in `allowed`.
  desktop::Status OnlyFlags(const std::set<std::string>& allowed) const;
};

// "contacts" (or 1) .. "notes" (or 5).
desktop::Result<protocol::DataType> ParseDataType(const std::string& text);
const char* DataTypeName(protocol::DataType type);
// A decimal or 0x-prefixed object id.
desktop::Result<std::uint32_t> ParseOid(const std::string& text);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_COMMAND_LINE_H_
