#include "desktop/formats/contact_json.h"

#include <cmath>

#include "desktop/base/utf16.h"

namespace desktop {

Json ContactJson::ToJson(const Contact& contact) {
  Json object = Json::object();
  if (contact.oid) object[std::string(kOidKey)] = *contact.oid;
  for (const auto& [id, value] : contact.fields()) {
    std::string name(Contact::FieldName(id));
    if (const TimeRecord* time = std::get_if<TimeRecord>(&value)) {
      object[name] = time->ToIso();
    } else {
      object[name] = Utf16ToUtf8(std::get<std::u16string>(value));
    }
  }
  return object;
}

Result<Contact> ContactJson::FromJson(const Json& object) {
  if (!object.is_object()) return Status::Error("a contact must be an object");
  Contact contact;
  for (const auto& [key, value] : object.items()) {
    if (key == kOidKey) {
      if (value.is_null()) continue;
      double oid = value.is_number() ? value.get<double>() : -1;
      if (oid < 0 || oid > 4294967295.0 || oid != std::floor(oid)) {
        return Status::Error(
            "\"oid\" must be a whole number from 0 to "
            "4294967295");
      }
      if (oid != 0) contact.oid = static_cast<std::uint32_t>(oid);
      continue;
    }
    std::optional<std::uint32_t> id = Contact::FieldId(key);
    if (!id) return Status::Error("unknown contact field \"" + key + "\"");
    if (value.is_null()) continue;
    if (!value.is_string()) {
      return Status::Error("contact field \"" + key + "\" must be a string");
    }
    const std::string& text = value.get_ref<const std::string&>();
    if (Contact::IsTimeField(*id)) {
      if (text.empty()) continue;
      Result<TimeRecord> time = TimeRecord::Parse(text);
      if (!time.ok()) return time.status().WithContext(key);
      contact.SetTime(*id, *time);
    } else {
      contact.SetText(*id, Utf8ToUtf16(text));
    }
  }
  return contact;
}

Result<std::vector<Contact>> ContactJson::ParseDocument(std::string_view text) {
  Result<Json> document = JsonText::Parse(text);
  if (!document.ok()) return document.status();
  std::vector<Contact> contacts;
  if (document->is_object()) {
    Result<Contact> contact = FromJson(*document);
    if (!contact.ok()) return contact.status();
    contacts.push_back(std::move(*contact));
    return contacts;
  }
  if (!document->is_array()) {
    return Status::Error("expected a contact object or an array of them");
  }
  std::size_t index = 0;
  for (const Json& item : *document) {
    Result<Contact> contact = FromJson(item);
    if (!contact.ok()) {
      return contact.status().WithContext("contact #" +
                                          std::to_string(index + 1));
    }
    contacts.push_back(std::move(*contact));
    ++index;
  }
  return contacts;
}

}  // namespace desktop
