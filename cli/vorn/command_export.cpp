// vorn export DIR: every contact as one vCard file, every appointment and
// task as one iCalendar file, every note as TITLE.txt.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "cli/vorn/note_commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/record_uid.h"
#include "desktop/formats/vcard.h"

namespace vorn_cli {

namespace {
// A file name part: no path separators, control characters or characters
// that trouble shells; at most 48 bytes, cut on a UTF-8 boundary.
std::string FileNamePart(const std::string& name) {
  std::string out;
  for (char c : name) {
    unsigned char u = static_cast<unsigned char>(c);
    if (u < 0x20 || c == ' ' || std::strchr("/\\:*?\"<>|'`$", c) != nullptr) {
      out += '_';
    } else {
      out += c;
    }
  }
  if (out.size() > 48) {
    std::size_t cut = 48;
    while (cut > 0 && (static_cast<unsigned char>(out[cut]) & 0xC0) == 0x80) {
      --cut;
    }
    out.resize(cut);
  }
  return out;
}

}  // namespace

int RunExport(const CommandLine& line, const std::string& dir) {
  auto zone = desktop::IcalZone::Named(line.tz);
  if (!zone.ok()) return Fail(zone.status().message());
  if (mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST) {
    return Fail("cannot create " + dir + ": " + std::strerror(errno));
  }
  struct stat st;
  if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    return Fail(dir + " is not a directory");
  }

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  auto list = client.GetAllRecords(protocol::DataType::kContacts);
  if (!list.ok()) return Fail(list.status().message());
  if (!list->header.complete) {
    return Fail("the handheld could not open its contacts database");
  }
  auto batch = client.GetRecords(protocol::DataType::kContacts, list->oids,
                                 desktop::Contact::PropertyKindOf);
  if (!batch.ok()) return Fail(batch.status().message());
  auto calendar = FetchCalendar(client);
  if (!calendar.ok()) return Fail(calendar.status().message());
  auto notes = FetchNotes(client);
  if (!notes.ok()) return Fail(notes.status().message());
  // Cards carry the same UIDs as those `vorn sync` writes.
  auto machine = client.GetMachineId();
  if (!machine.ok()) return Fail(machine.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  std::size_t written = 0, unnamed = 0, failed = 0;
  std::uint64_t bytes = 0;
  for (const desktop::WireRecord& record : batch->records) {
    auto contact = desktop::Contact::FromWireRecord(record);
    if (!contact.ok()) {
      Fail("contact " + std::to_string(record.oid) + ": " +
           contact.status().message());
      ++failed;
      continue;
    }
    std::string name = contact->DisplayName();
    if (name == "(no name)") ++unnamed;
    std::string path = dir + "/" + std::to_string(record.oid) + "-" +
                       FileNamePart(name) + ".vcf";
    contact->uid =
        desktop::RecordUid::For(desktop::Utf16ToUtf8(*machine),
                                protocol::DataType::kContacts, record.oid);
    std::string card = desktop::VCard::Write(*contact);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << card;
    if (!file.flush()) {
      Fail("cannot write " + path);
      ++failed;
      continue;
    }
    ++written;
    bytes += card.size();
  }
  failed += batch->missing.size();
  CalendarFiles items = WriteCalendarFiles(dir, *calendar, *zone);
  failed += items.failed;
  NoteFiles noteFiles = WriteNoteFiles(dir, notes->notes);
  failed += notes->failed + noteFiles.failed;
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["directory"] = dir;
    out["exported"] = written;
    out["without_name"] = unnamed;
    out["failed"] = failed;
    out["bytes"] = bytes + items.bytes;
    out["appointments"] = items.appointments;
    out["tasks"] = items.tasks;
    out["notes"] = noteFiles.written;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("exported %zu contact%s to %s (%llu bytes", written,
                written == 1 ? "" : "s", dir.c_str(),
                static_cast<unsigned long long>(bytes));
    if (unnamed) std::printf(", %zu without a name", unnamed);
    std::printf(")\n");
    if (items.appointments + items.tasks > 0) {
      std::printf(
          "exported %zu appointment%s and %zu task%s as .ics (%llu "
          "bytes)\n",
          items.appointments, items.appointments == 1 ? "" : "s", items.tasks,
          items.tasks == 1 ? "" : "s",
          static_cast<unsigned long long>(items.bytes));
    }
    if (noteFiles.written > 0) {
      std::printf("exported %zu note%s as .txt (%llu bytes)\n",
                  noteFiles.written, noteFiles.written == 1 ? "" : "s",
                  static_cast<unsigned long long>(noteFiles.bytes));
    }
    if (failed)
      std::printf("%zu record%s could not be exported\n", failed,
                  failed == 1 ? "" : "s");
  }
  return failed ? 1 : 0;
}

}  // namespace vorn_cli
