#include "desktop/formats/contact.h"

#include "desktop/base/utf16.h"
#include "protocol/contact_fields.h"

namespace desktop {
namespace {

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

// Appends u32 id and a counted string as RequestBuilder would, into a plain
// byte vector (the record travels inside another packet).
void AppendText(std::vector<std::uint8_t>& out, std::uint32_t id,
                std::u16string_view text) {
  std::uint8_t word[4];
  protocol::PutU32(word, id);
  out.insert(out.end(), word, word + 4);
  protocol::PutU32(word, static_cast<std::uint32_t>(2 * (text.size() + 1)));
  out.insert(out.end(), word, word + 4);
  for (char16_t c : text) {
    out.push_back(static_cast<std::uint8_t>(c));
    out.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  out.push_back(0);
  out.push_back(0);
}

void AppendTime(std::vector<std::uint8_t>& out, std::uint32_t id,
                const TimeRecord& time) {
  std::uint8_t word[4];
  protocol::PutU32(word, id);
  out.insert(out.end(), word, word + 4);
  auto bytes = time.Encode();
  out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

bool Contact::IsTimeField(std::uint32_t id) {
  return id == protocol::kContactAnniversary ||
         id == protocol::kContactBirthday;
}

std::string_view Contact::FieldName(std::uint32_t id) {
  if (id < 1 || id > protocol::kContactFieldCount) return {};
  return protocol::kContactFieldNames[id - 1];
}

std::optional<std::uint32_t> Contact::FieldId(std::string_view name) {
  for (std::uint32_t id = 1; id <= protocol::kContactFieldCount; ++id) {
    if (EqualsIgnoringCase(protocol::kContactFieldNames[id - 1], name)) {
      return id;
    }
  }
  return std::nullopt;
}

std::optional<PropertyKind> Contact::PropertyKindOf(std::uint32_t id) {
  if (id < 1 || id > protocol::kContactFieldCount) return std::nullopt;
  return IsTimeField(id) ? PropertyKind::kTime : PropertyKind::kString;
}

Result<Contact> Contact::FromWireRecord(const WireRecord& record) {
  Contact contact;
  contact.oid = record.oid;
  for (const WireProperty& property : record.properties) {
    std::optional<PropertyKind> kind = PropertyKindOf(property.id);
    if (!kind) {
      return Status::Error("contact field " + std::to_string(property.id) +
                           " does not exist");
    }
    if (*kind == PropertyKind::kTime) {
      const TimeRecord* time = std::get_if<TimeRecord>(&property.value);
      if (time == nullptr) {
        return Status::Error("contact field " + std::to_string(property.id) +
                             " is not a time record");
      }
      contact.SetTime(property.id, *time);
    } else {
      const std::u16string* text = std::get_if<std::u16string>(&property.value);
      if (text == nullptr) {
        return Status::Error("contact field " + std::to_string(property.id) +
                             " is not text");
      }
      if (property.id != protocol::kContactFileAs) {
        contact.SetText(property.id, *text);
      }
    }
  }
  return contact;
}

void Contact::SetText(std::uint32_t id, std::u16string text) {
  if (text.empty()) {
    fields_.erase(id);
  } else {
    fields_[id] = std::move(text);
  }
}

void Contact::SetTime(std::uint32_t id, const TimeRecord& time) {
  if (time.IsNoDate() || time.year == 0) {
    fields_.erase(id);
  } else {
    fields_[id] = time;
  }
}

std::u16string_view Contact::Text(std::uint32_t id) const {
  auto it = fields_.find(id);
  if (it == fields_.end()) return {};
  const std::u16string* text = std::get_if<std::u16string>(&it->second);
  return text ? std::u16string_view(*text) : std::u16string_view();
}

std::optional<TimeRecord> Contact::Time(std::uint32_t id) const {
  auto it = fields_.find(id);
  if (it == fields_.end()) return std::nullopt;
  const TimeRecord* time = std::get_if<TimeRecord>(&it->second);
  if (time == nullptr) return std::nullopt;
  return *time;
}

std::vector<std::uint8_t> Contact::Encode(bool replace_all) const {
  std::vector<std::uint8_t> out(4);
  std::uint32_t count = 0;
  for (std::uint32_t id = 1; id <= protocol::kContactFieldCount; ++id) {
    auto it = fields_.find(id);
    if (it == fields_.end()) {
      if (!replace_all || id == protocol::kContactFileAs ||
          id == protocol::kContactFirstName ||
          id == protocol::kContactLastName) {
        continue;
      }
      if (IsTimeField(id)) {
        AppendTime(out, id,
                   TimeRecord::FromDate(TimeRecord::kNoDateYear, 1, 1));
      } else {
        AppendText(out, id, u"");
      }
    } else if (const TimeRecord* time = std::get_if<TimeRecord>(&it->second)) {
      AppendTime(out, id, *time);
    } else {
      AppendText(out, id, std::get<std::u16string>(it->second));
    }
    ++count;
  }
  protocol::PutU32(out.data(), count);
  return out;
}

std::string Contact::DisplayName() const {
  std::u16string name(Text(protocol::kContactFirstName));
  std::u16string_view last = Text(protocol::kContactLastName);
  if (!last.empty()) {
    if (!name.empty()) name += u' ';
    name += last;
  }
  if (name.empty()) name = Text(protocol::kContactCompanyName);
  if (name.empty()) name = Text(6);  // Email1Address
  if (name.empty()) return "(no name)";
  return Utf16ToUtf8(name);
}

}  // namespace desktop
