// An ink note as the desktop holds it, and its two wire forms.
//
// Read from the handheld (GetRecord, GetRecords): the record header, then
// property 1 the title (the file name without directory and extension) and
// property 2 the text (paragraphs joined by CR LF), both counted strings.
// The handheld leaves a property out when it cannot send it: the text when
// it is too long for the reply, both when it could not open its conversion
// window (then only the header comes).
// Written to the handheld (AddRecord, UpdateRecord, BatchWrite): u32
// property count, then id and counted string for 1 title and 2 text.
#ifndef VORN_DESKTOP_FORMATS_NOTE_H_
#define VORN_DESKTOP_FORMATS_NOTE_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/wire_record.h"

namespace desktop {

struct Note {
  static constexpr std::uint32_t kTitle = 1;
  static constexpr std::uint32_t kText = 2;

  static std::optional<PropertyKind> PropertyKindOf(std::uint32_t id);

  // Builds a note from a record read from the handheld. Fails on a value of
  // the wrong kind.
  static Result<Note> FromWireRecord(const WireRecord& record);
  // Reads a record in the written form (ids other than 1 and 2 carry no
  // value, as the handheld's agent reads them). Fails when it ends early.
  static Result<Note> Decode(std::span<const std::uint8_t> bytes);

  // The written form: title and text.
  std::vector<std::uint8_t> Encode() const;
  // The form the handheld sends in GetRecord replies (header included).
  std::vector<std::uint8_t> EncodeReply() const;

  // What the handheld left out of the record it sent ("the title and the
  // text", "the text"); empty when nothing was.
  std::string Skipped() const;

  // The text with CR LF line ends made LF.
  std::u16string TextWithNewlines() const;

  std::optional<std::uint32_t> oid;
  std::u16string title;
  std::u16string text;
  bool has_title = true;
  bool has_text = true;

  bool operator==(const Note&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_NOTE_H_
