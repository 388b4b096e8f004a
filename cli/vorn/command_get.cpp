// vorn get TYPE OID...: records by object id.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/hex.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/contact_json.h"
#include "desktop/formats/note.h"
#include "desktop/formats/vcard.h"
#include "desktop/wire/request_builder.h"

namespace vorn_cli {

namespace {
void PrintContact(const desktop::Contact& contact) {
  std::printf("contact %u: %s\n", contact.oid.value_or(0),
              contact.DisplayName().c_str());
  for (const auto& [id, value] : contact.fields()) {
    std::string text;
    if (const auto* time = std::get_if<desktop::TimeRecord>(&value)) {
      text = time->ToIso();
    } else {
      text = desktop::Utf16ToUtf8(std::get<std::u16string>(value));
      // Keep one field per line.
      std::string flat;
      for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') continue;
        flat +=
            text[i] == '\n' ? std::string("\n      ") : std::string(1, text[i]);
      }
      text = flat;
    }
    std::printf("  %-26s %s\n",
                (std::string(desktop::Contact::FieldName(id)) + ":").c_str(),
                text.c_str());
  }
}

int GetRaw(const CommandLine& line, protocol::DataType type,
           const std::vector<std::uint32_t>& oids) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::Json out = desktop::Json::array();
  for (std::uint32_t oid : oids) {
    desktop::RequestBuilder request(protocol::Command::kGetRecord, type);
    request.U32(oid);
    auto reply = (*session)->client().Exchange(request.packet());
    if (!reply.ok()) return Fail(reply.status().message());
    if (line.json) {
      desktop::Json item = desktop::Json::object();
      item["oid"] = oid;
      item["reply"] = ToHex(*reply);
      out.push_back(std::move(item));
    } else {
      std::printf("%u: %s\n", oid, ToHex(*reply).c_str());
    }
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  return 0;
}

// Notes: the text of each, LF line ends, then an empty line between notes;
// with --json an array of {oid, title, text}. What the handheld left out of
// a record is said on standard error.
int GetNotes(const CommandLine& line, const std::vector<std::uint32_t>& oids) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto batch = (*session)->client().GetRecords(
      protocol::DataType::kInkNotes, oids, desktop::Note::PropertyKindOf);
  if (!batch.ok()) return Fail(batch.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  desktop::Json out = desktop::Json::array();
  int status = 0;
  bool first = true;
  for (const desktop::WireRecord& record : batch->records) {
    auto note = desktop::Note::FromWireRecord(record);
    if (!note.ok()) {
      status = Fail(note.status().message());
      continue;
    }
    if (std::string skipped = note->Skipped(); !skipped.empty()) {
      std::fprintf(stderr, "vorn: note %u: the handheld left out %s\n",
                   record.oid, skipped.c_str());
    }
    const std::string text = desktop::Utf16ToUtf8(note->TextWithNewlines());
    if (line.json) {
      desktop::Json item = desktop::Json::object();
      item["oid"] = record.oid;
      item["title"] = desktop::Utf16ToUtf8(note->title);
      item["text"] = text;
      out.push_back(std::move(item));
    } else {
      if (!first) std::fputs("\n", stdout);
      std::fputs(text.c_str(), stdout);
      if (!text.empty() && !text.ends_with('\n')) std::fputs("\n", stdout);
    }
    first = false;
  }
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  for (std::uint32_t oid : batch->missing) {
    status = Fail("the handheld has no note " + std::to_string(oid));
  }
  return status;
}

}  // namespace

int RunGet(const CommandLine& line, protocol::DataType type,
           const std::vector<std::uint32_t>& oids, bool vcard) {
  if (type == protocol::DataType::kInkNotes) return GetNotes(line, oids);
  if (type != protocol::DataType::kContacts) {
    return GetRaw(line, type, oids);
  }

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto batch = (*session)->client().GetRecords(
      type, oids, desktop::Contact::PropertyKindOf);
  if (!batch.ok()) return Fail(batch.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  desktop::Json out = desktop::Json::array();
  int status = 0;
  for (const desktop::WireRecord& record : batch->records) {
    auto contact = desktop::Contact::FromWireRecord(record);
    if (!contact.ok()) {
      status = Fail(contact.status().message());
      continue;
    }
    if (line.json) {
      out.push_back(desktop::ContactJson::ToJson(*contact));
    } else if (vcard) {
      std::fputs(desktop::VCard::Write(*contact).c_str(), stdout);
    } else {
      PrintContact(*contact);
    }
  }
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  for (std::uint32_t oid : batch->missing) {
    status = Fail("the handheld has no contact " + std::to_string(oid));
  }
  return status;
}

}  // namespace vorn_cli
