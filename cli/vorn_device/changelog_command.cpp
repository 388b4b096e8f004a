// vorn-device changelog IMAGE add TYPE --oid N --seq N [--kind K]
// vorn-device changelog IMAGE ls TYPE [--json]
#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/pim_json.h"
#include "protocol/change_log.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device changelog IMAGE add TYPE --oid N --seq N [--kind K]\n"
    "       vorn-device changelog IMAGE ls TYPE [--json]\n"
    "\n"
    "Reads and writes the handheld's change logs, which record every change\n"
    "of a contact, appointment, task or mail message for the desktops that\n"
    "synchronise with the handheld. TYPE is contacts, appointments, tasks or\n"
    "mail.\n"
    "\n"
    "add appends one entry with the given sequence number as it is, without\n"
    "moving the log's sequence counter (the REG_DWORD named after the log\n"
    "under HKLM\\SOFTWARE\\Orvanet). N is decimal or 0x-prefixed hex. K is\n"
    "added (1), changed (2, the default), deleted (3) or a number from 0 to\n"
    "255.\n"
    "\n"
    "ls prints the entries in log order, newest first, one per line:\n"
    "SEQUENCE OID KIND separated by tabs; --json prints an array of\n"
    "{\"seq\", \"oid\", \"kind\", \"change\"} objects instead.\n";

int Usage(const std::string& message) {
  return ReportError("changelog", message, kExitUsage);
}

std::optional<int> ParseKind(const std::string& text) {
  if (text == "added") return 1;
  if (text == "changed") return 2;
  if (text == "deleted") return 3;
  std::optional<DWORD> number = ParseDword(text);
  if (!number || *number > 255) return std::nullopt;
  return static_cast<int>(*number);
}

std::string KindName(int kind) {
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
  std::string action;
  const char16_t* log = nullptr;
  DWORD oid = 0;
  DWORD sequence = 0;
  int kind = 2;
  bool json = false;
};

// Checks the arguments after IMAGE; an error message when they are bad.
std::optional<std::string> Parse(const Args& args, Request* request) {
  if (args.size() < 3) return "missing action or TYPE (see --help)";
  request->action = args[1];
  request->log = LogOfType(args[2]);
  if (request->action != "add" && request->action != "ls") {
    return "unknown action '" + request->action + "' (add or ls)";
  }
  if (request->log == nullptr) {
    return "unknown TYPE '" + args[2] +
           "' (contacts, appointments, tasks or mail)";
  }
  if (request->action == "ls") {
    for (std::size_t i = 3; i < args.size(); ++i) {
      if (args[i] != "--json") return "unexpected argument '" + args[i] + "'";
      request->json = true;
    }
    return std::nullopt;
  }
  bool haveOid = false;
  bool haveSequence = false;
  for (std::size_t i = 3; i < args.size(); i += 2) {
    const std::string& option = args[i];
    if (option != "--oid" && option != "--seq" && option != "--kind") {
      return "unexpected argument '" + option + "'";
    }
    if (i + 1 >= args.size()) return option + " needs a value";
    const std::string& value = args[i + 1];
    if (option == "--kind") {
      std::optional<int> kind = ParseKind(value);
      if (!kind) {
        return "--kind needs added, changed, deleted or 0 to 255, not '" +
               value + "'";
      }
      request->kind = *kind;
      continue;
    }
    std::optional<DWORD> number = ParseDword(value);
    if (!number) {
      std::string message = option;
      message += " needs a number from 0 to 4294967295, not '";
      message += value;
      message += "'";
      return message;
    }
    if (option == "--oid") {
      request->oid = *number;
      haveOid = true;
    } else {
      request->sequence = *number;
      haveSequence = true;
    }
  }
  if (!haveOid || !haveSequence) return "add needs --oid N and --seq N";
  return std::nullopt;
}

std::string Listing(const std::vector<device::ChangeLogWriter::Entry>& entries,
                    bool json) {
  std::ostringstream out;
  if (!json) {
    for (const auto& entry : entries) {
      out << entry.sequence << "\t" << entry.oid << "\t" << KindName(entry.kind)
          << "\n";
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
    object["kind"] = entry.kind;
    object["change"] = KindName(entry.kind);
    out << (i == 0 ? "\n" : ",\n") << device::PimJson::Write(object);
  }
  out << (entries.empty() ? "]\n" : "\n]\n");
  return out.str();
}

}  // namespace

int RunChangelog(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  if (args.empty()) return Usage("missing IMAGE (see --help)");
  Request request;
  if (std::optional<std::string> problem = Parse(args, &request)) {
    return Usage(*problem);
  }

  std::string output;
  int status =
      RunInTransaction("changelog", args[0], [&](device::Device& handheld) {
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

}  // namespace cli
