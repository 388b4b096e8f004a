// The appointments and tasks of `vorn export`.
#include <cstdio>
#include <fstream>

#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/formats/record_uid.h"

namespace vorn_cli {

namespace {

// Fetches every record of `type` and decodes it with `decode`.
template <typename Item, typename Decode>
desktop::Status FetchAll(desktop::HandheldClient& client,
                         protocol::DataType type,
                         const desktop::PropertyKindFn& layout, Decode decode,
                         std::vector<Item>& out, std::size_t& failed) {
  auto list = client.GetAllRecords(type);
  if (!list.ok()) return list.status();
  if (!list->header.complete) {
    Fail(std::string("the handheld could not list its ") + DataTypeName(type));
    ++failed;
    return desktop::Status::Ok();
  }
  if (list->oids.empty()) return desktop::Status::Ok();
  auto batch = client.GetRecords(type, list->oids, layout);
  if (!batch.ok()) return batch.status();
  for (const desktop::WireRecord& record : batch->records) {
    desktop::Result<Item> item = decode(record);
    if (!item.ok()) {
      Fail(std::string(DataTypeName(type)) + " " + std::to_string(record.oid) +
           ": " + item.status().message());
      ++failed;
      continue;
    }
    out.push_back(std::move(*item));
  }
  failed += batch->missing.size();
  return desktop::Status::Ok();
}

}  // namespace

desktop::Result<CalendarExport> FetchCalendar(desktop::HandheldClient& client) {
  CalendarExport calendar;
  auto id = client.GetMachineId();
  if (!id.ok()) return id.status();
  calendar.machine_id = *id;
  VORN_RETURN_IF_ERROR(FetchAll(client, protocol::DataType::kAppointments,
                                desktop::Appointment::PropertyKindOf,
                                desktop::Appointment::FromWireRecord,
                                calendar.appointments, calendar.failed));
  VORN_RETURN_IF_ERROR(FetchAll(
      client, protocol::DataType::kTasks, desktop::Task::PropertyKindOf,
      desktop::Task::FromWireRecord, calendar.tasks, calendar.failed));
  return calendar;
}

CalendarFiles WriteCalendarFiles(const std::string& dir,
                                 const CalendarExport& calendar,
                                 const desktop::IcalZone& zone) {
  CalendarFiles files;
  files.failed = calendar.failed;
  auto save = [&](const std::string& uid, const std::string& text) {
    std::string path =
        dir + "/" + uid.substr(desktop::RecordUid::kPrefix.size()) + ".ics";
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) {
      Fail("cannot write " + path);
      ++files.failed;
      return false;
    }
    files.bytes += text.size();
    return true;
  };
  for (const desktop::Appointment& a : calendar.appointments) {
    std::string uid = desktop::RecordUid::For(calendar.machine_id,
                                              protocol::DataType::kAppointments,
                                              a.oid.value_or(0));
    desktop::ICalendarWriter writer(zone);
    writer.Add(a, uid);
    if (save(uid, writer.Text())) ++files.appointments;
  }
  for (const desktop::Task& t : calendar.tasks) {
    std::string uid = desktop::RecordUid::For(
        calendar.machine_id, protocol::DataType::kTasks, t.oid.value_or(0));
    desktop::ICalendarWriter writer(zone);
    writer.Add(t, uid);
    if (save(uid, writer.Text())) ++files.tasks;
  }
  return files;
}

}  // namespace vorn_cli
