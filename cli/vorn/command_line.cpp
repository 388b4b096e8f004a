#include "cli/vorn/command_line.h"

namespace vorn_cli {

using desktop::Result;
using desktop::Status;

Result<CommandLine> CommandLine::Parse(int argc, char** argv) {
  CommandLine line;
  bool only_positional = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (only_positional || arg.size() < 2 || arg[0] != '-') {
      if (line.command.empty()) {
        line.command = arg;
      } else {
        line.args.push_back(arg);
      }
      continue;
    }
    if (arg == "--") {
      only_positional = true;
      continue;
    }
    std::string value;
    bool has_value = false;
    if (std::size_t eq = arg.find('='); eq != std::string::npos) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      has_value = true;
    }
    if (arg == "--password" || arg == "--password-key") {
      if (!has_value) {
        if (i + 1 >= argc) return Status::Error(arg + " needs a value");
        value = argv[++i];
      }
      if (arg == "--password") {
        line.password = value;
      } else {
        line.password_key = value;
      }
    } else if (arg == "--device" || arg == "--image") {
      if (!has_value) {
        if (i + 1 >= argc) return Status::Error(arg + " needs a value");
        value = argv[++i];
      }
      (arg == "--device" ? line.device : line.image) = value;
    } else if (has_value) {
      return Status::Error("option " + arg + " takes no value");
    } else if (arg == "--json") {
      line.json = true;
    } else if (arg == "--help" || arg == "-h") {
      line.help = true;
    } else {
      line.flags.insert(arg);
    }
  }
  if (!line.device.empty() && !line.image.empty()) {
    return Status::Error("give either --device or --image, not both");
  }
  return line;
}

Status CommandLine::OnlyFlags(const std::set<std::string>& allowed) const {
  for (const std::string& flag : flags) {
    if (allowed.count(flag) == 0) {
      return Status::Error("unknown option " + flag + " for " + command);
    }
  }
  return Status::Ok();
}

Result<protocol::DataType> ParseDataType(const std::string& text) {
  static const char* const kNames[] = {"contacts", "appointments", "tasks",
                                       "mail", "notes"};
  for (int i = 0; i < 5; ++i) {
    if (text == kNames[i] || text == std::to_string(i + 1)) {
      return static_cast<protocol::DataType>(i + 1);
    }
  }
  return Status::Error("unknown data type \"" + text +
                       "\" (contacts, appointments, tasks, mail, notes)");
}

const char* DataTypeName(protocol::DataType type) {
  switch (type) {
    case protocol::DataType::kContacts:
      return "contacts";
    case protocol::DataType::kAppointments:
      return "appointments";
    case protocol::DataType::kTasks:
      return "tasks";
    case protocol::DataType::kMail:
      return "mail";
    case protocol::DataType::kInkNotes:
      return "notes";
  }
  return "?";
}

Result<std::uint32_t> ParseOid(const std::string& text) {
  std::string digits = text;
  int base = 10;
  if (digits.starts_with("0x") || digits.starts_with("0X")) {
    digits = digits.substr(2);
    base = 16;
  }
  if (digits.empty() || digits.size() > 10) {
    return Status::Error("bad object id \"" + text + "\"");
  }
  std::uint64_t value = 0;
  for (char c : digits) {
    int d;
    if (c >= '0' && c <= '9') {
      d = c - '0';
    } else if (base == 16 && c >= 'a' && c <= 'f') {
      d = c - 'a' + 10;
    } else if (base == 16 && c >= 'A' && c <= 'F') {
      d = c - 'A' + 10;
    } else {
      return Status::Error("bad object id \"" + text + "\"");
    }
    value = value * static_cast<std::uint64_t>(base) +
            static_cast<std::uint64_t>(d);
  }
  if (value > 0xFFFFFFFFu) {
    return Status::Error("object id \"" + text + "\" is too large");
  }
  return static_cast<std::uint32_t>(value);
}

}  // namespace vorn_cli
