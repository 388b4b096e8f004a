// vorn-device changelog IMAGE add TYPE --oid N --seq N [--kind K]
// vorn-device changelog IMAGE ls TYPE [--json]
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/pim_json.h"
#include "protocol/change_log.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Reads and writes the handheld's change logs, which record every change\n"
    "of a contact, appointment, task or mail message for the desktops that\n"
    "synchronise with the handheld. TYPE is contacts, appointments, tasks or\n"
    "mail.\n"
    "\n"
    "add appends one entry with the given sequence number as it is, without\n"
    "moving the log's sequence counter (the REG_DWORD named after the log\n"
    "under HKLM\\SOFTWARE\\Orvanet). N is decimal or 0x-prefixed hex. K is\n"
    "added (1), changed (2, the default), deleted (3) or any 32-bit number,\n"
    "decimal or 0x-prefixed hex, stored as it is (the agent looks at its\n"
    "low byte only).\n"
    "\n"
    "ls prints the entries in log order, newest first, one per line:\n"
    "SEQUENCE OID KIND separated by tabs; --json prints an array of\n"
    "{\"seq\", \"oid\", \"kind\", \"change\"} objects instead.";

std::optional<DWORD> ParseKind(const std::string& text) {
  if (text == "added") return 1;
  if (text == "changed") return 2;
  if (text == "deleted") return 3;
  return cli_common::ParseUint32(text);
}

std::string KindName(DWORD kind) {
  switch (kind) {
    case 1:
      return "added";
    case 2:
      return "changed";
    case 3:
      return "deleted";
    default:
      return std::to_string(kind);
  }
}

const char16_t* LogOfType(const std::string& type) {
  if (type == "contacts") return protocol::kContactLog;
  if (type == "appointments") return protocol::kAppointmentLog;
  if (type == "tasks") return protocol::kTaskLog;
  if (type == "mail") return protocol::kMailLog;
  return nullptr;
}

struct Request {
  std::string image;
  std::string action;
  const char16_t* log = nullptr;
  DWORD oid = 0;
  DWORD sequence = 0;
  DWORD kind = 2;
  bool json = false;
};

std::string Listing(const std::vector<device::ChangeLogWriter::Entry>& entries,
                    bool json) {
  std::ostringstream out;
  if (!json) {
    for (const auto& entry : entries) {
      out << entry.sequence << "\t" << entry.oid << "\t"
          << KindName(static_cast<DWORD>(entry.kind)) << "\n";
    }
    return out.str();
  }
  // One array, one entry per line.
  out << "[";
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& entry = entries[i];
    device::PimJson::Json object = device::PimJson::Json::object();
    object["seq"] = entry.sequence;
    object["oid"] = entry.oid;
    const auto kind = static_cast<DWORD>(entry.kind);
    object["kind"] = kind;
    object["change"] = KindName(kind);
    out << (i == 0 ? "\n" : ",\n") << device::PimJson::Write(object);
  }
  out << (entries.empty() ? "]\n" : "\n]\n");
  return out.str();
}

int Run(const Request& request) {
  std::string output;
  int status = RunInTransaction(
      "changelog", request.image, [&](device::Device& handheld) {
        device::ChangeLogWriter& writer = handheld.changeLog();
        if (request.action == "add") {
          return writer.AppendRaw(request.log, request.oid, request.sequence,
                                  request.kind);
        }
        output = Listing(writer.List(request.log), request.json);
        return device::Status::Ok();
      });
  if (status == 0) std::cout << output;
  return status;
}

// The positional TYPE of an action: the log it works on.
void AddType(CLI::App& action, Request& request) {
  action
      .add_option_function<std::string>(
          "TYPE",
          [&request](const std::string& type) {
            request.log = LogOfType(type);
            if (request.log == nullptr) {
              cli_common::BadArgument(
                  "unknown TYPE '" + type +
                  "' (contacts, appointments, tasks or mail)");
            }
          },
          "contacts, appointments, tasks or mail")
      ->required();
}

}  // namespace

void DefineChangelog(CLI::App& app, Work& work) {
  auto request = std::make_shared<Request>();
  CLI::App* changelog =
      app.add_subcommand("changelog", "read and write the change logs");
  changelog->footer(kDetails);
  changelog->add_option("IMAGE", request->image, "the device image")
      ->required();
  changelog->require_subcommand(1);

  CLI::App* add = changelog->add_subcommand("add", "append one raw entry");
  AddType(*add, *request);
  cli_common::AddUint32(*add, "--oid", request->oid, "the object id")
      ->required();
  cli_common::AddUint32(*add, "--seq", request->sequence,
                        "the entry's sequence number")
      ->required();
  add->add_option_function<std::string>(
         "--kind",
         [request](const std::string& text) {
           std::optional<DWORD> kind = ParseKind(text);
           if (!kind) {
             cli_common::BadArgument(
                 "--kind needs added, changed, deleted or a number from 0 to "
                 "4294967295 (decimal or 0x hex), not '" +
                 text + "'");
           }
           request->kind = *kind;
         },
         "added, changed (default), deleted or a 32-bit number")
      ->type_name("K");

  CLI::App* ls = changelog->add_subcommand("ls", "list the entries");
  AddType(*ls, *request);
  ls->add_flag("--json", request->json, "print a JSON array");

  for (CLI::App* action : {add, ls}) {
    action->callback(
        [request, name = action->get_name()] { request->action = name; });
  }
  changelog->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
