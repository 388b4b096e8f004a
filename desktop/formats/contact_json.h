// Contacts as JSON objects: one member per set field, named by its object
// model name ("FirstName", "Birthday"), plus "oid" when the handheld's object
// id is known. Text is a JSON string; dates are "YYYY-MM-DD", or
// "YYYY-MM-DDTHH:MM:SS" when they carry a time of day.
#ifndef VORN_DESKTOP_FORMATS_CONTACT_JSON_H_
#define VORN_DESKTOP_FORMATS_CONTACT_JSON_H_

#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/json_text.h"

namespace desktop {

class ContactJson {
 public:
  static constexpr std::string_view kOidKey = "oid";

  // The object for `contact`: "oid" first, then fields in id order.
  static Json ToJson(const Contact& contact);

  // Reads one contact object. Member names are matched without regard to
  // case; an unknown name, a non-string value or a bad date fails, naming
  // the member. Empty strings and null leave a field unset.
  static Result<Contact> FromJson(const Json& object);

  // Reads a JSON text holding one contact object or an array of them. Bad
  // JSON fails naming its line and column.
  static Result<std::vector<Contact>> ParseDocument(std::string_view text);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_CONTACT_JSON_H_
