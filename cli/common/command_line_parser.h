// What the command lines of vorn and vorn-device share: one way to parse,
// to answer --help and --version, and to report a bad argument, and the
// 32-bit numbers their arguments carry.
#ifndef VORN_CLI_COMMON_COMMAND_LINE_PARSER_H_
#define VORN_CLI_COMMON_COMMAND_LINE_PARSER_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace cli_common {

// The exit status of every bad argument (unknown option or command, missing
// or malformed value).
inline constexpr int kExitBadArgument = 2;

// Sets what both programs share on their top-level `app`: --version
// (printing `version`), the help flag, one subcommand required.
void ConfigureProgram(CLI::App& app, const std::string& version);

// Adds the command `help`, which prints the help of `app`.
void AddHelpCommand(CLI::App& app);

// Parses argv with `app`. Returns nullopt when the chosen command should
// run. Otherwise returns the exit status to end with: 0 after --help or
// --version (printed on standard output), kExitBadArgument after a bad
// argument, reported as one line on standard error:
// "PROGRAM: WHAT (try PROGRAM COMMAND --help)".
std::optional<int> ParseCommandLine(CLI::App& app, int argc, char** argv);

// A 32-bit number written in decimal or as 0x-prefixed hex; nullopt for
// anything else (empty, signs, spaces, trailing characters, too large).
std::optional<std::uint32_t> ParseUint32(std::string_view text);

// Adds the option or positional `name` holding such a number; a malformed
// value is a bad argument.
CLI::Option* AddUint32(CLI::App& app, const std::string& name,
                       std::function<void(std::uint32_t)> store,
                       const std::string& description);
CLI::Option* AddUint32(CLI::App& app, const std::string& name,
                       std::uint32_t& target, const std::string& description);

// The message every option check throws: a bad argument.
[[noreturn]] void BadArgument(const std::string& message);

}  // namespace cli_common

#endif  // VORN_CLI_COMMON_COMMAND_LINE_PARSER_H_
