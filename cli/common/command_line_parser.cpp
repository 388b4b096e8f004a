#include "cli/common/command_line_parser.h"

#include <charconv>
#include <iostream>

namespace cli_common {

void ConfigureProgram(CLI::App& app, const std::string& version) {
  app.set_version_flag("--version", app.get_name() + " " + version,
                       "print the version (and the commit) and exit");
  app.set_help_flag("-h,--help", "print this help and exit");
  app.require_subcommand(1);
}

void AddHelpCommand(CLI::App& app) {
  app.add_subcommand("help", "print this help")->callback([&app] {
    std::cout << app.get_formatter()->make_help(&app, app.get_name(),
                                                CLI::AppFormatMode::Normal);
    throw CLI::Success();
  });
}

namespace {

// "PROGRAM COMMAND SUBCOMMAND": the commands parsed so far.
std::string CommandPath(const CLI::App& app) {
  std::string path = app.get_name();
  const CLI::App* at = &app;
  for (;;) {
    std::vector<CLI::App*> chosen = at->get_subcommands();
    if (chosen.empty()) break;
    at = chosen.front();
    path += " " + at->get_name();
  }
  return path;
}

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

}  // namespace

std::optional<int> ParseCommandLine(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // --help, --version and the like end the program successfully.
    if (error.get_exit_code() == 0) return app.exit(error);
    std::string what = OneLine(error.what());
    std::vector<std::string> extra = app.remaining();
    if (app.get_subcommands().empty() && !extra.empty() &&
        !extra.front().starts_with("-")) {
      // A word where a command belongs.
      what = "unknown command '" + extra.front() + "'";
    }
    std::cerr << app.get_name() << ": " << what << " (try " << CommandPath(app)
              << " --help)" << std::endl;
    return kExitBadArgument;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> ParseUint32(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint32_t value = 0;
  auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc() ||
      end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

CLI::Option* AddUint32(CLI::App& app, const std::string& name,
                       std::uint32_t& target, const std::string& description) {
  return AddUint32(
      app, name, [&target](std::uint32_t number) { target = number; },
      description);
}

CLI::Option* AddUint32(CLI::App& app, const std::string& name,
                       std::function<void(std::uint32_t)> store,
                       const std::string& description) {
  CLI::Option* option = app.add_option_function<std::string>(
      name,
      [store = std::move(store), name](const std::string& text) {
        std::optional<std::uint32_t> number = ParseUint32(text);
        if (!number) {
          BadArgument(name +
                      " needs a number from 0 to 4294967295 (decimal "
                      "or 0x hex), not '" +
                      text + "'");
        }
        store(*number);
      },
      description);
  return option->type_name("N");
}

void BadArgument(const std::string& message) {
  throw CLI::ValidationError(message);
}

}  // namespace cli_common
