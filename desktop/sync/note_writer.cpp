#include "desktop/sync/note_writer.h"

#include <string>

#include "desktop/base/utf16.h"

namespace desktop {

Result<Note> ClientNoteWriter::Write(std::uint32_t oid, const Note& note) {
  constexpr protocol::DataType kNotes = protocol::DataType::kInkNotes;
  std::vector<std::uint8_t> record = note.Encode();
  Result<WriteStatus> status = oid == 0
                                   ? client_.AddRecord(kNotes, 0, record)
                                   : client_.UpdateRecord(kNotes, oid, record);
  if (!status.ok()) return status.status();
  if (!status->ok || status->oid == 0) {
    return Status::Error("the handheld did not take the note \"" +
                         Utf16ToUtf8(note.title) + "\" (status " +
                         std::to_string(status->code) + ")");
  }
  Result<WireRecord> read =
      client_.GetRecord(kNotes, status->oid, Note::PropertyKindOf);
  if (!read.ok()) return read.status();
  return Note::FromWireRecord(*read);
}

Status ClientNoteWriter::Delete(std::uint32_t oid) {
  const std::uint32_t oids[] = {oid};
  Result<std::vector<std::uint32_t>> deleted =
      client_.DeleteRecords(protocol::DataType::kInkNotes, oids);
  if (!deleted.ok()) return deleted.status();
  // A note already gone is what was asked for.
  return Status::Ok();
}

}  // namespace desktop
