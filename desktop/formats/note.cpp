#include "desktop/formats/note.h"

#include "desktop/formats/record_bytes.h"
#include "desktop/wire/reply_reader.h"

namespace desktop {

std::optional<PropertyKind> Note::PropertyKindOf(std::uint32_t id) {
  if (id == kTitle || id == kText) return PropertyKind::kString;
  return std::nullopt;
}

Result<Note> Note::FromWireRecord(const WireRecord& record) {
  Note note;
  note.oid = record.oid;
  note.has_title = false;
  note.has_text = false;
  for (const WireProperty& property : record.properties) {
    const auto* text = std::get_if<std::u16string>(&property.value);
    if (text == nullptr) {
      return Status::Error("note " + std::to_string(record.oid) +
                           ": property " + std::to_string(property.id) +
                           " is no text");
    }
    if (property.id == kTitle) {
      note.title = *text;
      note.has_title = true;
    } else if (property.id == kText) {
      note.text = *text;
      note.has_text = true;
    }
  }
  return note;
}

Result<Note> Note::Decode(std::span<const std::uint8_t> bytes) {
  ReplyReader reader(bytes);
  Result<std::uint32_t> count = reader.U32("property count");
  if (!count.ok()) return count.status();
  Note note;
  note.has_title = false;
  note.has_text = false;
  for (std::uint32_t i = 0; i < *count; ++i) {
    Result<std::uint32_t> id = reader.U32("property id");
    if (!id.ok()) return id.status();
    if (!PropertyKindOf(*id)) continue;  // no value follows
    Result<std::u16string> value = reader.String("note property");
    if (!value.ok()) return value.status();
    if (*id == kTitle) {
      note.title = std::move(*value);
      note.has_title = true;
    } else {
      note.text = std::move(*value);
      note.has_text = true;
    }
  }
  return note;
}

std::vector<std::uint8_t> Note::Encode() const {
  RecordBytes out(false);
  out.Text(kTitle, title).Text(kText, text);
  return out.Take();
}

std::vector<std::uint8_t> Note::EncodeReply() const {
  RecordBytes out(true, oid.value_or(0));
  if (has_title) out.Text(kTitle, title);
  if (has_text) out.Text(kText, text);
  return out.Take();
}

std::string Note::Skipped() const {
  if (!has_title && !has_text) return "the title and the text";
  if (!has_title) return "the title";
  if (!has_text) return "the text";
  return "";
}

std::u16string Note::TextWithNewlines() const {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') {
      continue;
    }
    out += text[i];
  }
  return out;
}

}  // namespace desktop
