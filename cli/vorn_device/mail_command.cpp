// vorn-device mail IMAGE add --folder FOLDER [--from A] [--to A;B] [--cc ..]
//     [--bcc ..] [--subject S] [--body TEXT] [--attach HOST_FILE]... [--read]
//     [--time ISO8601]
// vorn-device mail IMAGE ls
// vorn-device mail IMAGE rm KEY
//
// The handheld user's mail in the default MAPI store, changed through the
// store's own objects so that every change reaches the mail log; on a
// handheld whose system version selects the older message store, in that
// store (store_mail_command.h).
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "cli/vorn_device/store_mail_command.h"
#include "device/device.h"
#include "device/image/utf8.h"
#include "device/mapi/mail_editor.h"
#include "device/mapi/mapi.h"
#include "platform/api.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "add stores a message in FOLDER (inbox, drafts, sent, outbox, deleted)\n"
    "and prints its record key (the object id the desktop sees). --to, --cc\n"
    "and --bcc take addresses separated by \";\". --attach adds the host\n"
    "file as an attachment named after it (repeatable). --time is the\n"
    "delivery time: YYYY-MM-DDTHH:MM:SS followed by Z or +HH:MM/-HH:MM\n"
    "(without either it is taken as UTC).\n"
    "\n"
    "ls prints one line per message: record key, folder, read or unread,\n"
    "sender, subject, recipient count and attachment count, separated by\n"
    "tabs. rm deletes the message KEY (decimal or 0x-prefixed hex).\n"
    "\n"
    "On an image whose system version selects the older message store\n"
    "(init --os below 3.0.11171) the messages are kept there instead, KEY\n"
    "being the message's object id.";

struct Request {
  std::string image;
  std::string action;
  device::NewMail mail;
  std::vector<std::string> attachFiles;
  std::uint32_t key = 0;
};

std::vector<std::u16string> Addresses(const std::string& list) {
  std::vector<std::u16string> addresses;
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(';', start);
    if (end == std::string::npos) end = list.size();
    std::string address = list.substr(start, end - start);
    std::size_t first = address.find_first_not_of(' ');
    std::size_t last = address.find_last_not_of(' ');
    if (first != std::string::npos) {
      address = address.substr(first, last - first + 1);
      addresses.push_back(device::Utf8ToUtf16(address));
    }
    start = end + 1;
  }
  if (addresses.empty())
    cli_common::BadArgument("no address in '" + list + "'");
  return addresses;
}

// "YYYY-MM-DDTHH:MM:SS" with an optional "Z" or "+HH:MM"/"-HH:MM".
FILETIME ParseTime(const std::string& text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int consumed = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &year, &month,
                  &day, &hour, &minute, &second, &consumed) != 6 ||
      consumed != 19) {
    cli_common::BadArgument("bad --time '" + text +
                            "' (expected YYYY-MM-DDTHH:MM:SS[Z|+HH:MM])");
  }
  std::string zone = text.substr(19);
  int offsetMinutes = 0;
  if (!zone.empty() && zone != "Z") {
    int zoneHour = 0, zoneMinute = 0, zoneConsumed = 0;
    if ((zone[0] != '+' && zone[0] != '-') ||
        std::sscanf(zone.c_str() + 1, "%2d:%2d%n", &zoneHour, &zoneMinute,
                    &zoneConsumed) != 2 ||
        zoneConsumed != 5 || zone.size() != 6 || zoneHour > 23 ||
        zoneMinute > 59) {
      cli_common::BadArgument("bad --time zone in '" + text + "'");
    }
    offsetMinutes = (zone[0] == '-' ? -1 : 1) * (zoneHour * 60 + zoneMinute);
  }
  SYSTEMTIME time = {static_cast<WORD>(year),
                     static_cast<WORD>(month),
                     0,
                     static_cast<WORD>(day),
                     static_cast<WORD>(hour),
                     static_cast<WORD>(minute),
                     static_cast<WORD>(second),
                     0};
  FILETIME result = {};
  if (year < 1601 || SystemTimeToFileTime(&time, &result) == FALSE ||
      hour > 23 || minute > 59 || second > 59) {
    cli_common::BadArgument("bad --time '" + text + "' (no such date)");
  }
  std::uint64_t value =
      (std::uint64_t{result.dwHighDateTime} << 32) | result.dwLowDateTime;
  value -= static_cast<std::int64_t>(offsetMinutes) * 600000000LL;
  result.dwLowDateTime = static_cast<DWORD>(value);
  result.dwHighDateTime = static_cast<DWORD>(value >> 32);
  return result;
}

std::string FileName(const std::string& path) {
  std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Reads the --attach files into the request's message.
device::Status ReadAttachments(Request& request) {
  for (const std::string& path : request.attachFiles) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return device::Status::Error("cannot read '" + path + "'");
    device::NewMailAttachment attachment;
    attachment.fileName = device::Utf8ToUtf16(FileName(path));
    attachment.bytes.assign(std::istreambuf_iterator<char>(in),
                            std::istreambuf_iterator<char>());
    if (in.bad()) return device::Status::Error("cannot read '" + path + "'");
    request.mail.attachments.push_back(std::move(attachment));
  }
  request.attachFiles.clear();
  return device::Status::Ok();
}

device::Status Add(device::Device& handheld, Request& request,
                   std::string* output) {
  if (device::Status read = ReadAttachments(request); !read.ok()) return read;
  device::MailEditor editor(handheld.mapi());
  device::Result<DWORD> key = editor.Add(request.mail);
  if (!key.ok()) return key.status();
  *output = std::to_string(key.value()) + "\n";
  return device::Status::Ok();
}

device::Status List(device::Device& handheld, std::string* output) {
  device::MailEditor editor(handheld.mapi());
  for (const device::MailSummary& message : editor.List()) {
    *output += std::to_string(message.key) + "\t" +
               std::string(device::Mapi::FolderName(message.folder)) + "\t" +
               (message.read ? "read" : "unread") + "\t" +
               ListingColumn(message.from) + "\t" +
               ListingColumn(message.subject) + "\t" +
               std::to_string(message.recipients) + "\t" +
               std::to_string(message.attachments) + "\n";
  }
  return device::Status::Ok();
}

int Run(Request& request) {
  std::string output;
  const bool changes = request.action != "ls";
  int status = RunInTransaction(
      "mail", request.image,
      [&](device::Device& handheld) -> device::Status {
        bool mapi = ImageUsesMapi(handheld);
        if (request.action == "add") {
          if (mapi) return Add(handheld, request, &output);
          if (device::Status read = ReadAttachments(request); !read.ok()) {
            return read;
          }
          return AddStoreMail(handheld, request.mail, &output);
        }
        if (request.action == "rm") {
          return mapi ? device::MailEditor(handheld.mapi()).Remove(request.key)
                      : RemoveStoreMail(handheld, request.key);
        }
        return mapi ? List(handheld, &output)
                    : ListStoreMail(handheld, &output);
      },
      kExitFailure, changes);
  if (status == 0) std::cout << output;
  return status;
}

}  // namespace

void DefineMail(CLI::App& app, Work& work) {
  auto request = std::make_shared<Request>();
  CLI::App* mail = app.add_subcommand(
      "mail", "add, list and delete mail messages as the user does");
  mail->footer(kDetails);
  mail->add_option("IMAGE", request->image, "the device image")->required();
  mail->require_subcommand(1);

  CLI::App* add =
      mail->add_subcommand("add", "add a message; prints its record key");
  add->add_option_function<std::string>(
         "--folder",
         [request](const std::string& name) {
           auto folder = device::Mapi::FolderFromName(name);
           if (!folder) {
             cli_common::BadArgument(
                 "bad --folder '" + name +
                 "' (inbox, drafts, sent, outbox or deleted)");
           }
           request->mail.folder = *folder;
         },
         "inbox, drafts, sent, outbox or deleted")
      ->required();
  add->add_option_function<std::string>(
      "--from",
      [request](const std::string& text) {
        request->mail.from = device::Utf8ToUtf16(text);
      },
      "the sender's address");
  add->add_option_function<std::string>(
      "--to",
      [request](const std::string& text) {
        request->mail.to = Addresses(text);
      },
      "recipients, separated by ';'");
  add->add_option_function<std::string>(
      "--cc",
      [request](const std::string& text) {
        request->mail.cc = Addresses(text);
      },
      "copy recipients, separated by ';'");
  add->add_option_function<std::string>(
      "--bcc",
      [request](const std::string& text) {
        request->mail.bcc = Addresses(text);
      },
      "blind copy recipients, separated by ';'");
  add->add_option_function<std::string>(
      "--subject",
      [request](const std::string& text) {
        request->mail.subject = device::Utf8ToUtf16(text);
      },
      "the subject");
  add->add_option_function<std::string>(
      "--body",
      [request](const std::string& text) {
        request->mail.body = device::Utf8ToUtf16(text);
      },
      "the message text");
  add->add_option("--attach", request->attachFiles,
                  "a host file to attach (repeatable)");
  add->add_flag("--read", request->mail.read, "mark the message as read");
  add->add_option_function<std::string>(
      "--time",
      [request](const std::string& text) {
        request->mail.time = ParseTime(text);
      },
      "delivery time, YYYY-MM-DDTHH:MM:SS[Z|+HH:MM]");
  add->callback([request] { request->action = "add"; });

  CLI::App* ls = mail->add_subcommand("ls", "list the messages");
  ls->callback([request] { request->action = "ls"; });

  CLI::App* rm = mail->add_subcommand("rm", "delete a message");
  cli_common::AddUint32(*rm, "KEY", request->key, "the record key")->required();
  rm->callback([request] { request->action = "rm"; });

  mail->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
