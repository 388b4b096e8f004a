// vorn put FILE: add or update contacts from a JSON or vCard file;
// appointments and tasks go on to RunPutCalendar, .txt notes to RunPutNote.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <span>
#include <sstream>
#include <vector>

#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "cli/vorn/note_commands.h"
#include "cli/vorn/session.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/contact_json.h"
#include "desktop/formats/vcard.h"
#include "desktop/wire/batch_writer.h"

namespace vorn_cli {

namespace {
bool EndsWithVcf(const std::string& path) {
  if (path.size() < 4) return false;
  std::string tail = path.substr(path.size() - 4);
  for (char& c : tail) c = static_cast<char>(std::tolower(c));
  return tail == ".vcf" || tail == "vcard";
}

}  // namespace

int RunPut(const CommandLine& line, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return Fail("cannot read " + path);
  std::stringstream text;
  text << file.rdbuf();
  if (IsCalendarFile(path, text.str())) {
    return RunPutCalendar(line, path, text.str());
  }
  if (IsNoteFile(path)) return RunPutNote(line, path, text.str());
  auto contacts = EndsWithVcf(path)
                      ? desktop::VCard::Parse(text.str())
                      : desktop::ContactJson::ParseDocument(text.str());
  if (!contacts.ok()) {
    return Fail(path + ": " + contacts.status().message());
  }
  if (contacts->empty()) return Fail(path + ": no contacts in it");

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  // Runs of new contacts go out in a few BatchWrite packets. A contact with
  // an object id is updated on its own with UpdateRecord, as ever: in a
  // batch, an id the handheld does not have would stop the batch and put
  // an error box on the handheld's screen.
  std::vector<desktop::BatchEntry> entries;
  entries.reserve(contacts->size());
  std::uint32_t serial = 0;
  for (const desktop::Contact& contact : *contacts) {
    ++serial;
    const bool update = contact.oid.has_value();
    entries.push_back(
        {!update, update ? *contact.oid : serial, contact.Encode(update)});
  }
  desktop::HandheldClient& client = (*session)->client();
  desktop::BatchWriter writer(client, protocol::DataType::kContacts);
  desktop::Json out = desktop::Json::array();
  int status = 0;
  std::size_t done = 0;
  while (done < entries.size()) {
    desktop::Result<std::vector<desktop::WriteStatus>> written =
        std::vector<desktop::WriteStatus>{};
    if (!entries[done].add) {
      auto one = client.UpdateRecord(protocol::DataType::kContacts,
                                     entries[done].id, entries[done].record);
      if (one.ok()) {
        written->push_back(*one);
      } else {
        written = one.status();
      }
    } else {
      std::size_t end = done;
      while (end < entries.size() && entries[end].add) ++end;
      written = writer.WriteSome(std::span(entries).subspan(done, end - done));
    }
    if (!written.ok()) {
      (void)(*session)->Finish();
      return Fail(written.status().message());
    }
    for (const desktop::WriteStatus& result : *written) {
      const bool update = !entries[done].add;
      std::string name = (*contacts)[done++].DisplayName();
      if (!result.ok) {
        status = Fail("the handheld did not " +
                      std::string(update ? "update" : "add") + " " + name +
                      " (code " + std::to_string(result.code) + ")");
        continue;
      }
      if (line.json) {
        desktop::Json item = desktop::Json::object();
        item["oid"] = result.oid;
        item["action"] = update ? "updated" : "added";
        item["name"] = name;
        out.push_back(std::move(item));
      } else {
        std::printf("%s %u %s\n", update ? "updated" : "added", result.oid,
                    name.c_str());
      }
    }
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  return status;
}

}  // namespace vorn_cli
