#include "cli/vorn/command_line.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/common/command_line_parser.h"
#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "cli/vorn/hex.h"
#include "desktop/transport/rapi_invocation.h"
#include "vorn_version.h"

namespace vorn_cli {

using desktop::Result;
using desktop::Status;

namespace {

using cli_common::BadArgument;

constexpr char kDescription[] =
    "The desktop's command-line tool for a handheld. Talks to a handheld\n"
    "over TCP (--device) or by starting `vorn-device serve IMAGE --stdio`\n"
    "(--image; vorn-device is taken from $VORN_DEVICE, from beside this\n"
    "program, or from $PATH). --device rapi://HOST[:PORT] (or\n"
    "rapi+unix://PATH) reaches the agent through the handheld's remote API\n"
    "server (`vorn-device serve --rapi`), with --password TEXT and\n"
    "--password-key N (default 165) when the handheld has a device password.\n"
    "Options may stand before or after the command.";

constexpr char kFooter[] =
    "TYPE is contacts, appointments, tasks, mail or notes (or 1..5).\n"
    "`vorn COMMAND --help` describes a command.";

// The positional TYPE of a command.
CLI::Option* AddType(CLI::App& command, protocol::DataType& type) {
  return command
      .add_option_function<std::string>(
          "TYPE",
          [&type](const std::string& text) {
            Result<protocol::DataType> parsed = ParseDataType(text);
            if (!parsed.ok()) BadArgument(parsed.status().message());
            type = *parsed;
          },
          "contacts, appointments, tasks, mail or notes (or 1..5)")
      ->required();
}

// The positional OID... of a command: decimal or 0x-prefixed object ids.
CLI::Option* AddOids(CLI::App& command, std::vector<std::uint32_t>& oids) {
  return command
      .add_option_function<std::vector<std::string>>(
          "OID",
          [&oids](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) {
              std::optional<std::uint32_t> oid = cli_common::ParseUint32(text);
              if (!oid) BadArgument("bad object id \"" + text + "\"");
              oids.push_back(*oid);
            }
          },
          "object ids, decimal or 0x...")
      ->required()
      ->type_name("OID");
}

CLI::App* Command(CLI::App& app, const std::string& name,
                  const std::string& summary, const std::string& details) {
  CLI::App* command = app.add_subcommand(name, summary);
  if (!details.empty()) command->footer(details);
  return command;
}

void DefineRecordCommands(CLI::App& app, const CommandLine& line,
                          std::function<int()>& work) {
  auto packets = std::make_shared<std::vector<std::vector<std::uint8_t>>>();
  CLI::App* raw = Command(
      app, "raw", "send packets, print the replies in hex",
      "Sends each argument as one request packet (command byte, data type\n"
      "byte, arguments; without the length, which is added) and prints each\n"
      "reply frame's payload in hex, one line per reply (an empty line for an\n"
      "empty reply). Ends with command 1 unless the last packet was one.\n"
      "With --json: an array of the replies as hex strings.\n"
      "example: vorn --image dev.img raw 0601 0e01");
  raw->add_option_function<std::vector<std::string>>(
         "HEX",
         [packets](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             auto packet = ParseHex(text);
             if (!packet.ok()) BadArgument(packet.status().message());
             if (packet->size() < 2) {
               BadArgument("packet \"" + text +
                           "\" needs at least a command and a data type byte");
             }
             packets->push_back(std::move(*packet));
           }
         },
         "request packets in hex")
      ->required()
      ->type_name("HEX");
  raw->callback(
      [&, packets] { work = [&, packets] { return RunRaw(line, *packets); }; });

  Command(app, "info", "machine id and system version test",
          "Prints the handheld's machine id and whether it runs the system\n"
          "version that has MAPI mail.")
      ->callback([&] { work = [&] { return RunInfo(line); }; });

  auto type = std::make_shared<protocol::DataType>();
  CLI::App* count = Command(app, "count", "number of records",
                            "Prints the number of records of TYPE.");
  AddType(*count, *type);
  count->callback(
      [&, type] { work = [&, type] { return RunCount(line, *type); }; });

  CLI::App* ls =
      Command(app, "ls", "object ids of every record",
              "Prints the object id of every record of TYPE, one per line.");
  AddType(*ls, *type);
  ls->callback([&, type] { work = [&, type] { return RunLs(line, *type); }; });

  auto oids = std::make_shared<std::vector<std::uint32_t>>();
  auto vcard = std::make_shared<bool>(false);
  auto ics = std::make_shared<bool>(false);
  CLI::App* get = Command(
      app, "get", "records (contacts, appointments, tasks are decoded)",
      "Fetches records by object id. Contacts, appointments and tasks are\n"
      "shown field by field, as a JSON array (--json), contacts as vCard 4.0\n"
      "(--vcard), appointments and tasks as one iCalendar 2.0 calendar\n"
      "(--ics; UIDs from the handheld's machine id, times in the zone of\n"
      "--tz, else floating). Mail is shown as a summary per message (JSON\n"
      "with --json); with --format eml one message (one KEY) is written as an\n"
      "RFC 5322 file with its attachments, fetched from the handheld's\n"
      "temporary files; times read in the zone of --tz, written in UTC.\n"
      "Records of the other types are shown as the reply bytes in hex.");
  AddType(*get, *type);
  AddOids(*get, *oids);
  get->add_flag("--vcard", *vcard, "contacts as vCard 4.0");
  get->add_flag("--ics", *ics, "appointments and tasks as iCalendar 2.0");
  auto format = std::make_shared<std::string>();
  get->add_option("--format", *format, "eml: mail as an RFC 5322 file")
      ->check(CLI::IsMember({"eml"}));
  get->callback([&, type, oids, vcard, ics, format] {
    if (*type == protocol::DataType::kMail) {
      if (*vcard || *ics) BadArgument("--vcard and --ics are not for mail");
      if (!format->empty() && line.json) {
        BadArgument("give either --format or --json");
      }
      if (!format->empty() && oids->size() != 1) {
        BadArgument("--format eml takes one KEY");
      }
      work = [&, oids, format] {
        return RunGetMail(line, *oids, *format == "eml");
      };
      return;
    }
    if (!format->empty()) BadArgument("--format is for mail");
    if ((*vcard || *ics) && line.json) {
      BadArgument("give either --vcard, --ics or --json");
    }
    if (*vcard && *type != protocol::DataType::kContacts) {
      BadArgument("--vcard is for contacts");
    }
    const bool calendar = *type == protocol::DataType::kAppointments ||
                          *type == protocol::DataType::kTasks;
    if (*ics && !calendar) BadArgument("--ics is for appointments and tasks");
    if (calendar) {
      work = [&, type, oids, ics] {
        return RunGetCalendar(line, *type, *oids,
                              *ics        ? CalendarOutput::kIcs
                              : line.json ? CalendarOutput::kJson
                                          : CalendarOutput::kText);
      };
      return;
    }
    work = [&, type, oids, vcard] {
      return RunGet(line, *type, *oids, *vcard);
    };
  });

  auto file = std::make_shared<std::string>();
  CLI::App* put = Command(
      app, "put", "add or update records from .json/.vcf/.ics/.txt/.eml",
      "Writes the contacts of FILE to the handheld: a JSON object or array of\n"
      "objects (field names as in `vorn get contacts OID --json`), or a vCard\n"
      "file (.vcf). A contact with an object id (\"oid\", X-VORN-OID) "
      "replaces\n"
      "that record; one without is added. Prints the resulting object ids.\n"
      "\n"
      "Appointments and tasks come from an iCalendar file (.ics: VEVENT and\n"
      "VTODO, times converted into the zone of --tz) or from JSON as `vorn\n"
      "get appointments|tasks OID --json` prints it. A JSON object is an\n"
      "appointment or a task by its \"type\" (\"appointment\", \"task\"),\n"
      "else by its members: DueDate, StartDate, Complete, Importance or\n"
      "ReminderTime make a task; Start, End, Location, AllDayEvent or\n"
      "BusyStatus an appointment; a file holds either contacts or these.\n"
      "What the handheld cannot hold (attendees, a second alarm, other\n"
      "programs' properties) is left out and reported on standard error, one\n"
      "line per item.\n"
      "\n"
      "A mail file (.eml, RFC 5322, or `vorn put mail FILE`) becomes a new\n"
      "message in the handheld's Drafts (--folder drafts, the default) or\n"
      "Outbox (--folder outbox), attachments included; prints its record\n"
      "key.");
  auto put_args = std::make_shared<std::vector<std::string>>();
  put->add_option("FILE", *put_args,
                  "a .json, .vcf, .ics, .txt or .eml file (for mail also "
                  "\"mail FILE\")")
      ->required()
      ->expected(1, 2);
  auto folder = std::make_shared<std::string>("drafts");
  put->add_option("--folder", *folder,
                  "mail: the folder a message goes to (default drafts)")
      ->check(CLI::IsMember({"drafts", "outbox"}));
  put->callback([&, file, put_args, folder] {
    if (put_args->size() == 2) {
      if (put_args->front() != "mail") {
        BadArgument("give FILE, or \"mail FILE\" for a mail file");
      }
      *file = put_args->back();
      work = [&, file, folder] { return RunPutMail(line, *file, *folder); };
      return;
    }
    *file = put_args->front();
    if (IsMailFile(*file)) {
      work = [&, file, folder] { return RunPutMail(line, *file, *folder); };
      return;
    }
    work = [&, file] { return RunPut(line, *file); };
  });

  CLI::App* rm = Command(
      app, "rm", "delete records",
      "Deletes records by object id and prints the ids deleted. Fails when an\n"
      "id could not be deleted.");
  AddType(*rm, *type);
  AddOids(*rm, *oids);
  rm->callback([&, type, oids] {
    work = [&, type, oids] { return RunRm(line, *type, *oids); };
  });
}

void DefineFileCommands(CLI::App& app, const CommandLine& line,
                        std::function<int()>& work) {
  auto host = std::make_shared<std::string>();
  auto device = std::make_shared<std::string>();
  auto append = std::make_shared<bool>(false);
  CLI::App* push = Command(
      app, "push", "copy a file to the handheld",
      "Copies HOST_FILE to DEVICE_PATH on the handheld (e.g.\n"
      "'\\My Documents\\notes.txt'). The handheld can only append to a file,\n"
      "so an existing DEVICE_PATH is refused unless --append is given.");
  push->add_option("HOST_FILE", *host, "the file to copy")->required();
  push->add_option("DEVICE_PATH", *device, "where it goes on the handheld")
      ->required();
  push->add_flag("--append", *append, "add to an existing DEVICE_PATH");
  push->callback([&, host, device, append] {
    work = [&, host, device, append] {
      return RunPush(line, *host, *device, *append);
    };
  });

  CLI::App* pull = Command(
      app, "pull", "copy a file from the handheld",
      "Copies DEVICE_PATH from the handheld to HOST_FILE (replaced if it\n"
      "exists), at most 221174 bytes per request.");
  pull->add_option("DEVICE_PATH", *device, "the file on the handheld")
      ->required();
  pull->add_option("HOST_FILE", *host, "where it goes")->required();
  pull->callback([&, host, device] {
    work = [&, host, device] { return RunPull(line, *device, *host); };
  });

  auto dir = std::make_shared<std::string>();
  CLI::App* exporting = Command(
      app, "export", "every contact, appointment and task into DIR",
      "Writes every contact of the handheld to DIR (created if missing) as\n"
      "OID-Name.vcf, vCard 4.0, every appointment and task as UUID.ics,\n"
      "iCalendar 2.0, named after its UID (urn:uuid:UUID, from the handheld's\n"
      "machine id, the data type and the object id; times in the zone of\n"
      "--tz, else floating), and prints a short summary.");
  exporting->add_option("DIR", *dir, "the directory")->required();
  exporting->callback(
      [&, dir] { work = [&, dir] { return RunExport(line, *dir); }; });
}

void DefineSyncCommands(CLI::App& app, const CommandLine& line,
                        std::function<int()>& work) {
  auto request = std::make_shared<SyncRequest>();
  CLI::App* sync = Command(
      app, "sync",
      "keep DIR/ and the handheld's contacts, calendar, tasks and notes in "
      "step",
      "Synchronises the handheld's contacts with DIR (created if missing), a\n"
      "vdir collection: DIR/contacts/ holds one vCard 4.0 file per contact,\n"
      "named after its UID, and a displayname file. Appointments and tasks\n"
      "go the same way into DIR/calendar/ and DIR/tasks/, one iCalendar file\n"
      "each, times in the zone of --tz (kept in the state for later runs).\n"
      "Ink notes go into DIR/notes/, one UTF-8 TITLE.txt file each, paired\n"
      "by name (a new file makes a note titled after it), with their state\n"
      "in DIR/.vorn-notes.json.\n"
      "A contact made on the\n"
      "handheld gets the UID urn:uuid:<name-based UUID of the handheld's\n"
      "machine id and its object id>; a card from elsewhere keeps its own.\n"
      "Files are written under a temporary name, flushed and renamed;\n"
      "DIR/.vorn-sync.db keeps the contract name, the handheld's machine\n"
      "id and, per contact, the pairing of UID, object id and file with the\n"
      "hashes the last run left. --json prints the summary as one JSON\n"
      "object.\n"
      "\n"
      "Both ways (the default): contacts added, changed or deleted on the\n"
      "handheld since the last run are written into or removed from DIR, and\n"
      "files added, changed or deleted in DIR are written to or deleted on\n"
      "the handheld. A contact changed on both sides is a conflict: "
      "--conflict\n"
      "picks the winner, and the losing version is kept in\n"
      "DIR/.vorn-conflicts/ with a line in the summary. Properties the\n"
      "handheld cannot hold (a PHOTO, a fourth e-mail address, X- properties\n"
      "of other programs) stay in the file when the handheld's side changes.\n"
      "A run that would delete more than half of the contacts on either side\n"
      "stops and changes nothing unless --force is given. A mirror of the\n"
      "old layout (DIR/OID.vcf) is converted on its next run.\n"
      "\n"
      "The first run adds a contract on the handheld and compares\n"
      "everything; later runs ask the handheld what changed since the\n"
      "contract's mark. The mark moves only after every change was applied,\n"
      "so an interrupted run is finished by the next one, and writes to the\n"
      "handheld are journaled so that none is made twice. Before the mark\n"
      "moves, the change list is asked for again until nothing new comes:\n"
      "only an edit made on the handheld within that last round trip would\n"
      "be skipped. One run compares at most 55294 contacts and catches up at\n"
      "most 44235 changes.\n"
      "\n"
      "Debugging: VORN_SYNC_STOP_AFTER_RECORDS=N makes the run stop dead\n"
      "after N fetched records, without finishing the conversation, as if\n"
      "the process had been killed there (exit status 3).");
  sync->add_option("DIR", request->dir, "the mirror directory")->required();
  sync->add_option_function<std::string>(
          "--partner",
          [request](const std::string& name) {
            if (name.empty()) BadArgument("empty partner name");
            request->partner = name;
          },
          "the contract name. Default: the name in DIR's state file, else\n"
          "vorn-HOST-HASH from this host's name and a hash of DIR's absolute\n"
          "path")
      ->type_name("NAME");
  sync->add_flag("--one-way", request->one_way,
                 "only carry the handheld's changes into DIR; a full run\n"
                 "also puts back what was changed in DIR");
  sync->add_option("--conflict", request->conflict,
                   "who wins a contact changed on both sides: handheld\n"
                   "(default), desktop, or newest (the file's modification\n"
                   "time against the middle of the time since the last run,\n"
                   "as the handheld keeps no time of change for contacts)")
      ->type_name("WHO")
      ->check(CLI::IsMember({"handheld", "desktop", "newest"}));
  sync->add_flag("--force", request->force,
                 "carry out a run that deletes more than half of the\n"
                 "contacts on one side");
  sync->callback([&, request] {
    work = [&, request] { return RunSync(line, *request); };
  });

  auto name = std::make_shared<std::string>();
  CLI::App* contracts = Command(
      app, "contracts", "contracts made by sync",
      "Lists the contracts `vorn sync` made (kept in\n"
      "$XDG_CONFIG_HOME/vorn/contracts.json, else ~/.config/vorn/), and asks\n"
      "the handheld whether it still has each of its own (FindContract).\n"
      "Contracts of other handhelds are listed as such.");
  contracts->require_subcommand(0, 1);
  CLI::App* remove = Command(
      *contracts, "rm", "delete a contract here and on the handheld",
      "Deletes the contract NAME on the handheld (DeleteContract) and\n"
      "forgets it here; the next sync of its directory mirrors everything.");
  remove->add_option("NAME", *name, "the contract's partner name")->required();
  contracts->callback(
      [&, name] { work = [&, name] { return RunContracts(line, *name); }; });
}

}  // namespace

void DefineCommands(CLI::App& app, CommandLine& line,
                    std::function<int()>& work) {
  app.description(kDescription);
  app.footer(kFooter);
  cli_common::ConfigureProgram(app, VORN_VERSION_LINE);
  // Options a command does not know go on to `vorn` itself, so the global
  // options may follow the command. Subcommands take this over.
  app.fallthrough();
  CLI::Option* device =
      app.add_option("--device", line.device,
                     "a handheld on TCP, or its remote API server\n"
                     "(rapi://HOST[:PORT], rapi+unix://PATH)")
          ->type_name("HOST:PORT");
  app.add_option_function<std::string>(
         "--password",
         [&line](const std::string& text) { line.password = text; },
         "the device password for the remote API server")
      ->type_name("TEXT");
  app.add_option_function<std::string>(
         "--password-key",
         [&line](const std::string& text) {
           if (!desktop::RapiInvocation::ParsePasswordKey(text).ok()) {
             BadArgument("--password-key needs 0 to 255");
           }
           line.password_key = text;
         },
         "the key byte of the password step (default 165)")
      ->type_name("N");
  CLI::Option* image = app.add_option("--image", line.image,
                                      "a device image, served by vorn-device");
  image->type_name("IMAGE")->excludes(device);
  app.add_flag("--json", line.json, "print the result as JSON");
  app.add_option_function<std::string>(
         "--tz",
         [&line](const std::string& name) {
           Result<desktop::IcalZone> zone = desktop::IcalZone::Named(name);
           if (!zone.ok()) BadArgument(zone.status().message());
           line.tz = name;
         },
         "the handheld's time zone (IANA name) for iCalendar; no command\n"
         "tells it. Default: floating local times")
      ->type_name("ZONE");

  DefineRecordCommands(app, line, work);
  DefineFileCommands(app, line, work);
  DefineSyncCommands(app, line, work);
  cli_common::AddHelpCommand(app);
  app.final_callback([&line] {
    if (line.device.empty() && line.image.empty()) {
      BadArgument(
          "no handheld given: use --device HOST:PORT, --device "
          "rapi://HOST:PORT, --device rapi+unix://PATH or --image IMAGE");
    }
    bool rapi = desktop::RapiInvocation::IsRapiAddress(line.device);
    if ((line.password || !line.password_key.empty()) && !rapi) {
      BadArgument(
          "--password and --password-key need --device rapi://HOST:PORT");
    }
  });
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

}  // namespace vorn_cli
