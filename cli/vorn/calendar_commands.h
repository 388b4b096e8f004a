// Appointments and tasks in `vorn get`, `vorn put` and `vorn export`:
// fetched and decoded records, JSON (desktop/formats/calendar_json.h) and
// iCalendar (desktop/formats/icalendar_*.h) files.
#ifndef VORN_CLI_VORN_CALENDAR_COMMANDS_H_
#define VORN_CLI_VORN_CALENDAR_COMMANDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "cli/vorn/command_line.h"
#include "desktop/formats/appointment.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/task.h"
#include "desktop/wire/handheld_client.h"

namespace vorn_cli {

// How `vorn get` shows appointments and tasks.
enum class CalendarOutput { kText, kJson, kIcs };

// vorn get appointments|tasks OID...
int RunGetCalendar(const CommandLine& line, protocol::DataType type,
                   const std::vector<std::uint32_t>& oids,
                   CalendarOutput output);

// True when `vorn put` should read `path` as appointments and tasks: an
// .ics (or .ical) file, or JSON whose objects include an appointment or a
// task (by "type" or by their members).
bool IsCalendarFile(const std::string& path, const std::string& text);
// vorn put FILE for such a file, its text already read.
int RunPutCalendar(const CommandLine& line, const std::string& path,
                   const std::string& text);

// Every appointment and task of a handheld, with its machine id.
struct CalendarExport {
  std::u16string machine_id;
  std::vector<desktop::Appointment> appointments;
  std::vector<desktop::Task> tasks;
  std::size_t failed = 0;  // records that could not be fetched or decoded
};

// Fetches them over an open conversation (GetMachineId, GetAllRecords and
// GetRecords of both types). Fails when the conversation breaks.
desktop::Result<CalendarExport> FetchCalendar(desktop::HandheldClient& client);

struct CalendarFiles {
  std::size_t appointments = 0;
  std::size_t tasks = 0;
  std::size_t failed = 0;
  std::uint64_t bytes = 0;
};

// Writes each item as DIR/UUID.ics, UUID being its UID without urn:uuid:,
// times in the zone of --tz. Each file that cannot be written is reported
// on standard error and counted as failed.
CalendarFiles WriteCalendarFiles(const std::string& dir,
                                 const CalendarExport& calendar,
                                 const desktop::IcalZone& zone);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_CALENDAR_COMMANDS_H_
