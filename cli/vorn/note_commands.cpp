#include "cli/vorn/note_commands.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/note_mirror.h"

namespace vorn_cli {

namespace {

// CR LF line ends, as the handheld joins a note's paragraphs.
std::u16string WithCrLf(const std::u16string& text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\n' && (i == 0 || text[i - 1] != u'\r')) out += u'\r';
    out += text[i];
  }
  return out;
}

}  // namespace

bool IsNoteFile(const std::string& path) {
  if (path.size() < 4) return false;
  std::string tail = path.substr(path.size() - 4);
  for (char& c : tail) c = static_cast<char>(std::tolower(c));
  return tail == ".txt";
}

int RunPutNote(const CommandLine& line, const std::string& path,
               const std::string& text) {
  desktop::Note note;
  note.title =
      desktop::Utf8ToUtf16(std::filesystem::path(path).stem().string());
  if (note.title.empty()) return Fail(path + ": the file name gives no title");
  note.text = WithCrLf(desktop::Utf8ToUtf16(text));

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto written = (*session)->client().AddRecord(protocol::DataType::kInkNotes,
                                                0, note.Encode());
  if (!written.ok()) {
    (void)(*session)->Finish();
    return Fail(written.status().message());
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  const std::string title = desktop::Utf16ToUtf8(note.title);
  if (!written->ok) {
    return Fail("the handheld did not add the note " + title + " (code " +
                std::to_string(written->code) + ")");
  }
  if (line.json) {
    desktop::Json item = desktop::Json::object();
    item["oid"] = written->oid;
    item["action"] = "added";
    item["name"] = title;
    desktop::Json out = desktop::Json::array();
    out.push_back(std::move(item));
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("added %u %s\n", written->oid, title.c_str());
  }
  return 0;
}

desktop::Result<NoteExport> FetchNotes(desktop::HandheldClient& client) {
  auto list = client.GetAllRecords(protocol::DataType::kInkNotes);
  if (!list.ok()) return list.status();
  auto batch = client.GetRecords(protocol::DataType::kInkNotes, list->oids,
                                 desktop::Note::PropertyKindOf);
  if (!batch.ok()) return batch.status();
  NoteExport out;
  out.failed = batch->missing.size();
  for (const desktop::WireRecord& record : batch->records) {
    auto note = desktop::Note::FromWireRecord(record);
    if (!note.ok()) {
      Fail(note.status().message());
      ++out.failed;
      continue;
    }
    out.notes.push_back(std::move(*note));
  }
  return out;
}

std::string NoteFileName(const desktop::Note& note) {
  return desktop::NoteMirror::FileName(note);
}

NoteFiles WriteNoteFiles(const std::string& dir,
                         const std::vector<desktop::Note>& notes) {
  NoteFiles out;
  for (const desktop::Note& note : notes) {
    if (std::string skipped = note.Skipped(); !skipped.empty()) {
      Fail("note " + std::to_string(note.oid.value_or(0)) +
           ": the handheld left out " + skipped);
    }
    const std::string path = dir + "/" + NoteFileName(note);
    const std::string text = desktop::Utf16ToUtf8(note.TextWithNewlines());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) {
      Fail("cannot write " + path);
      ++out.failed;
      continue;
    }
    ++out.written;
    out.bytes += text.size();
  }
  return out;
}

}  // namespace vorn_cli
