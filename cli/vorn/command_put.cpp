// vorn put FILE: add or update contacts from a JSON or vCard file;
// appointments and tasks go on to RunPutCalendar.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "cli/vorn/calendar_commands.h"
#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/contact_json.h"
#include "desktop/formats/vcard.h"

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
  auto contacts = EndsWithVcf(path)
                      ? desktop::VCard::Parse(text.str())
                      : desktop::ContactJson::ParseDocument(text.str());
  if (!contacts.ok()) {
    return Fail(path + ": " + contacts.status().message());
  }
  if (contacts->empty()) return Fail(path + ": no contacts in it");

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  desktop::Json out = desktop::Json::array();
  int status = 0;
  std::uint32_t serial = 0;
  for (const desktop::Contact& contact : *contacts) {
    ++serial;
    const bool update = contact.oid.has_value();
    auto written = update
                       ? client.UpdateRecord(protocol::DataType::kContacts,
                                             *contact.oid, contact.Encode(true))
                       : client.AddRecord(protocol::DataType::kContacts, serial,
                                          contact.Encode(false));
    if (!written.ok()) {
      (void)(*session)->Finish();
      return Fail(written.status().message());
    }
    std::string name = contact.DisplayName();
    if (!written->ok) {
      status = Fail("the handheld did not " +
                    std::string(update ? "update" : "add") + " " + name +
                    " (code " + std::to_string(written->code) + ")");
      continue;
    }
    if (line.json) {
      desktop::Json item = desktop::Json::object();
      item["oid"] = written->oid;
      item["action"] = update ? "updated" : "added";
      item["name"] = name;
      out.push_back(std::move(item));
    } else {
      std::printf("%s %u %s\n", update ? "updated" : "added", written->oid,
                  name.c_str());
    }
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  return status;
}

}  // namespace vorn_cli
