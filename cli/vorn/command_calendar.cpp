// vorn get appointments|tasks and vorn put of .ics files and of JSON
// appointments and tasks.
#include <cstdio>

#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/calendar_json.h"
#include "desktop/formats/icalendar_reader.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/formats/record_uid.h"

namespace vorn_cli {

namespace {

bool EndsWith(const std::string& path, const char* tail) {
  std::string lower = path;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  std::string end(tail);
  return lower.size() >= end.size() &&
         lower.compare(lower.size() - end.size(), end.size(), end) == 0;
}

// One member per line: "  Name: value" (nested values as compact JSON).
void PrintItem(const char* kind, const desktop::Json& object) {
  std::printf("%s %s: %s\n", kind,
              object.contains("oid") ? object["oid"].dump().c_str() : "new",
              object["Subject"].get<std::string>().c_str());
  for (const auto& [key, value] : object.items()) {
    if (key == "type" || key == "oid" || key == "Subject") continue;
    std::string text = value.is_string() ? value.get<std::string>()
                                         : desktop::JsonText::Write(value, 0);
    std::string flat;
    for (char c : text) {
      if (c == '\r') continue;
      flat += c == '\n' ? std::string("\n      ") : std::string(1, c);
    }
    std::printf("  %-24s %s\n", (key + ":").c_str(), flat.c_str());
  }
}

std::string UidOf(const std::u16string& machine_id, protocol::DataType type,
                  std::uint32_t oid) {
  return desktop::RecordUid::For(machine_id, type, oid);
}

}  // namespace

int RunGetCalendar(const CommandLine& line, protocol::DataType type,
                   const std::vector<std::uint32_t>& oids,
                   CalendarOutput output) {
  auto zone = desktop::IcalZone::Named(line.tz);
  if (!zone.ok()) return Fail(zone.status().message());
  const bool tasks = type == protocol::DataType::kTasks;
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  std::u16string machine_id;
  if (output == CalendarOutput::kIcs) {
    auto id = client.GetMachineId();
    if (!id.ok()) return Fail(id.status().message());
    machine_id = *id;
  }
  auto batch = client.GetRecords(type, oids,
                                 tasks ? desktop::Task::PropertyKindOf
                                       : desktop::Appointment::PropertyKindOf);
  if (!batch.ok()) return Fail(batch.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  desktop::Json out = desktop::Json::array();
  desktop::ICalendarWriter ics(*zone);
  int status = 0;
  for (const desktop::WireRecord& record : batch->records) {
    desktop::Json object;
    if (tasks) {
      auto task = desktop::Task::FromWireRecord(record);
      if (!task.ok()) {
        status = Fail("task " + std::to_string(record.oid) + ": " +
                      task.status().message());
        continue;
      }
      ics.Add(*task, UidOf(machine_id, type, record.oid));
      object = desktop::CalendarJson::ToJson(*task);
    } else {
      auto appointment = desktop::Appointment::FromWireRecord(record);
      if (!appointment.ok()) {
        status = Fail("appointment " + std::to_string(record.oid) + ": " +
                      appointment.status().message());
        continue;
      }
      ics.Add(*appointment, UidOf(machine_id, type, record.oid));
      object = desktop::CalendarJson::ToJson(*appointment);
    }
    if (output == CalendarOutput::kJson) {
      out.push_back(std::move(object));
    } else if (output == CalendarOutput::kText) {
      PrintItem(tasks ? "task" : "appointment", object);
    }
  }
  if (output == CalendarOutput::kJson) {
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else if (output == CalendarOutput::kIcs && !batch->records.empty()) {
    std::fputs(ics.Text().c_str(), stdout);
  }
  for (std::uint32_t oid : batch->missing) {
    status = Fail("the handheld has no " +
                  std::string(tasks ? "task " : "appointment ") +
                  std::to_string(oid));
  }
  return status;
}

bool IsCalendarFile(const std::string& path, const std::string& text) {
  if (EndsWith(path, ".ics") || EndsWith(path, ".ical")) return true;
  if (EndsWith(path, ".vcf") || EndsWith(path, "vcard")) return false;
  auto document = desktop::JsonText::Parse(text);
  return document.ok() && desktop::CalendarJson::HoldsCalendarItems(*document);
}

int RunPutCalendar(const CommandLine& line, const std::string& path,
                   const std::string& text) {
  auto zone = desktop::IcalZone::Named(line.tz);
  if (!zone.ok()) return Fail(zone.status().message());
  const bool ics = EndsWith(path, ".ics") || EndsWith(path, ".ical");
  auto items = ics ? desktop::ICalendarReader::Parse(text, *zone)
                   : desktop::CalendarJson::ParseDocument(text);
  if (!items.ok()) return Fail(path + ": " + items.status().message());
  for (const std::string& warning : items->warnings) {
    std::fprintf(stderr, "vorn: %s: %s\n", path.c_str(), warning.c_str());
  }

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  desktop::Json out = desktop::Json::array();
  int status = 0;
  std::uint32_t serial = 0;
  auto write = [&](protocol::DataType type, std::optional<std::uint32_t> oid,
                   const std::vector<std::uint8_t>& record,
                   const std::u16string& subject) -> bool {
    ++serial;
    const bool update = oid.has_value();
    auto written = update ? client.UpdateRecord(type, *oid, record)
                          : client.AddRecord(type, serial, record);
    if (!written.ok()) {
      (void)(*session)->Finish();
      status = Fail(written.status().message());
      return false;
    }
    const char* kind =
        type == protocol::DataType::kTasks ? "task" : "appointment";
    std::string name = desktop::Utf16ToUtf8(subject);
    // The handheld reports a failed appointment save as object id 0.
    if (!written->ok || written->oid == 0) {
      status =
          Fail("the handheld did not " +
               std::string(update ? "update" : "add") + " " + kind + " \"" +
               name + "\" (code " + std::to_string(written->code) + ")");
      return true;
    }
    if (line.json) {
      desktop::Json item = desktop::Json::object();
      item["oid"] = written->oid;
      item["type"] = kind;
      item["action"] = update ? "updated" : "added";
      item["subject"] = name;
      out.push_back(std::move(item));
    } else {
      std::printf("%s %s %u %s\n", update ? "updated" : "added", kind,
                  written->oid, name.c_str());
    }
    return true;
  };
  for (const desktop::Appointment& a : items->appointments) {
    if (!write(protocol::DataType::kAppointments, a.oid, a.Encode(),
               a.subject)) {
      return status;
    }
  }
  for (const desktop::Task& t : items->tasks) {
    if (!write(protocol::DataType::kTasks, t.oid, t.Encode(), t.subject)) {
      return status;
    }
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  return status;
}

}  // namespace vorn_cli
