// Contacts as vCard 4.0 text (RFC 6350) in both directions.
//
// Field mapping: N and FN from the name fields; ORG from company and
// department; TITLE from the job title; TEL with TYPE work/home/cell/pager/
// fax (PREF=1 and PREF=2 tell the first and second business and home
// numbers apart); EMAIL with PREF=1..3 for the three addresses; ADR with
// TYPE=home, TYPE=work, and without TYPE for the other address; BDAY,
// ANNIVERSARY, URL, CATEGORIES, NOTE; every other field as
// X-VORN-<NAME IN CAPITALS> (X-VORN-SPOUSE, X-VORN-FILEAS, ...), and the
// handheld's object id as X-VORN-OID. UID and REV are written and read
// when the contact carries them.
//
// Lines end in CRLF and are folded at 75 octets without splitting a UTF-8
// sequence. Line breaks inside text are written as \n and read back as the
// handheld's CRLF.
#ifndef VORN_DESKTOP_FORMATS_VCARD_H_
#define VORN_DESKTOP_FORMATS_VCARD_H_

#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/contact.h"

namespace desktop {

class VCard {
 public:
  // Longest line in octets, CRLF not counted.
  static constexpr std::size_t kMaxLineOctets = 75;

  // One BEGIN:VCARD ... END:VCARD block for `contact`.
  static std::string Write(const Contact& contact);

  // Every vCard in `text` (versions 3.0 and 2.1 are read as far as they
  // agree with 4.0). Properties that have no place in a contact are
  // skipped; fails on text that is not vCard at all or a card left open.
  static Result<std::vector<Contact>> Parse(std::string_view text);

  // Escapes backslash, comma, semicolon and line breaks of a text value.
  static std::string EscapeText(std::string_view text);
  // Undoes EscapeText (\n and \N both become a line feed).
  static std::string UnescapeText(std::string_view text);
  // Folds one unfolded content line into CRLF-terminated physical lines.
  static std::string FoldLine(std::string_view line);
  // The same appended to `out`.
  static void AppendFolded(std::string& out, std::string_view line);
  // Joins folded lines (CRLF or LF followed by a space or tab).
  static std::string Unfold(std::string_view text);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_VCARD_H_
