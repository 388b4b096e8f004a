// Rewrites the properties of a vCard that the handheld holds and keeps the
// others: a card edited by other programs keeps its photo, a fourth e-mail
// address or their X- properties when the handheld's side of the contact
// changes.
//
// The handheld owns VERSION, FN, N, ORG, TITLE, ADR, BDAY, ANNIVERSARY, URL,
// CATEGORIES, NOTE, UID, REV and every X-VORN- property, and those EMAIL and
// TEL properties whose values VCard::Parse placed into one of the contact's
// fields (the first three e-mail addresses, the numbers it has slots for).
// Everything else is kept, in its order, right after VERSION (so that the
// handheld's own lines, which follow, are the ones a reader takes where a
// property fills a single field).
#ifndef VORN_DESKTOP_FORMATS_VCARD_MERGE_H_
#define VORN_DESKTOP_FORMATS_VCARD_MERGE_H_

#include <string>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/formats/contact.h"

namespace desktop {

class VCardMerge {
 public:
  // The card for `contact` (VCard::Write, with its uid and rev) with the
  // properties of `existing` that the handheld does not own. An empty
  // `existing` gives the plain card. Fails when `existing` is not one
  // parseable vCard.
  static Result<std::string> Merge(const Contact& contact,
                                   std::string_view existing);

  // The properties of the single card in `text` that the handheld does not
  // own, as unfolded content lines.
  static Result<std::vector<std::string>> ForeignLines(std::string_view text);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_VCARD_MERGE_H_
