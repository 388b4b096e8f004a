// A contact as the desktop holds it: a set of fields keyed by the wire field
// ids of protocol/contact_fields.h. Ids 1 (Anniversary) and 2 (Birthday)
// hold time records, every other id UTF-16 text. A field that is not set is
// absent; the handheld's empty strings and "no date" values are read as
// absent.
//
// Wire record written to the handheld (AddRecord, UpdateRecord, BatchWrite):
//   u32 field count, then per field u32 id and its value (a 16-byte time
//   record, or a counted UTF-16 string with its NUL counted).
// Records read back come as WireRecord (header plus properties).
#ifndef VORN_DESKTOP_FORMATS_CONTACT_H_
#define VORN_DESKTOP_FORMATS_CONTACT_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/time_record.h"
#include "desktop/wire/wire_record.h"

namespace desktop {

class Contact {
 public:
  using Value = std::variant<std::u16string, TimeRecord>;

  // True for the ids that hold time records (1 and 2).
  static bool IsTimeField(std::uint32_t id);
  // The object model name of a field id 1..50 ("FirstName"); empty for
  // any other id.
  static std::string_view FieldName(std::uint32_t id);
  // The field id of an object model name, compared without regard to case.
  static std::optional<std::uint32_t> FieldId(std::string_view name);
  // The layout of contact records for WireRecord::Read and the client.
  static std::optional<PropertyKind> PropertyKindOf(std::uint32_t id);

  // Builds a contact from a record read from the handheld. Empty strings,
  // "no date" time records and field 26 are dropped. Fails on a property
  // whose kind does not match its id.
  static Result<Contact> FromWireRecord(const WireRecord& record);

  // The handheld's object id, when known.
  std::optional<std::uint32_t> oid;
  // The card's UID and REV (vCard text); empty when it has none. The
  // handheld holds neither.
  std::string uid;
  std::string rev;

  // Sets a text field (ids other than 1 and 2); an empty text clears it.
  void SetText(std::uint32_t id, std::u16string text);
  // Sets a time field (1 or 2); a "no date" value clears it.
  void SetTime(std::uint32_t id, const TimeRecord& time);
  void Clear(std::uint32_t id) { fields_.erase(id); }

  // The text of a field, or an empty view when absent or not text.
  std::u16string_view Text(std::uint32_t id) const;
  // The time of a field, or nullopt when absent.
  std::optional<TimeRecord> Time(std::uint32_t id) const;
  bool Has(std::uint32_t id) const { return fields_.count(id) != 0; }
  bool empty() const { return fields_.empty(); }

  // All fields in ascending id order.
  const std::map<std::uint32_t, Value>& fields() const { return fields_; }

  // The wire record for AddRecord, UpdateRecord and BatchWrite. With
  // `replace_all` every field except FileAs is sent, absent ones as empty
  // text or "no date", so that an update leaves nothing of the old record;
  // absent first and last names are still left out, because sending them
  // makes the handheld file the contact as ", ".
  std::vector<std::uint8_t> Encode(bool replace_all = false) const;

  // A short name for people: "First Last", else the company, else the
  // first e-mail address, else "(no name)". UTF-8.
  std::string DisplayName() const;

  bool operator==(const Contact&) const = default;

 private:
  std::map<std::uint32_t, Value> fields_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_CONTACT_H_
