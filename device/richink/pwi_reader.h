// Reads the text of a note file: the rich ink control's container, which
// starts with the five bytes "{\pwi" and holds a chain of typed records
// (fonts, page setup, a paragraph list, one record per paragraph, line
// layouts, embedded objects, ink and an end record).
//
// Only the paragraphs' text is taken: printable ASCII, Western characters
// coded C1 xx (Windows-1252), the two-byte form for characters up to
// U+3FFF and tabs. Everything else is skipped by its length: formatting
// codes, fonts, layouts, drawings and ink, sound clips and records of types
// nobody has described. A damaged or truncated file yields the text read up
// to the damage; no input makes the reader read outside the file, allocate
// from a stored count or loop without moving forward.
#ifndef VORN_DEVICE_RICHINK_PWI_READER_H_
#define VORN_DEVICE_RICHINK_PWI_READER_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace device {

// Files above this size are read up to it only.
inline constexpr std::size_t kPwiMaxFileSize = std::size_t{16} * 1024 * 1024;

// The paragraphs of `file` in document order, without line breaks; nullopt
// when `file` is not a note file (shorter than its 14-byte header or without
// the "{\pwi" magic).
std::optional<std::vector<std::u16string>> ReadPwiParagraphs(
    std::span<const std::uint8_t> file);

// The character of the inline code C1 xx: Windows-1252 (U+FFFD for the five
// bytes that code page leaves undefined).
char16_t PwiWesternCharacter(std::uint8_t code);

}  // namespace device

#endif  // VORN_DEVICE_RICHINK_PWI_READER_H_
