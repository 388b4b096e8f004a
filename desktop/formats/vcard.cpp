#include "desktop/formats/vcard.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "desktop/base/utf16.h"
#include "protocol/contact_fields.h"

namespace desktop {
namespace {

// Field ids by name, for readability of the mapping below.
enum : std::uint32_t {
  kAnniversary = 1,
  kBirthday = 2,
  kBusinessFax = 3,
  kCompany = 4,
  kDepartment = 5,
  kEmail1 = 6,
  kMobile = 7,
  kPager = 9,
  kBusinessPhone = 10,
  kJobTitle = 11,
  kHomePhone = 12,
  kEmail2 = 13,
  kEmail3 = 15,
  kHome2Phone = 16,
  kHomeFax = 17,
  kCategories = 22,
  kWebPage = 23,
  kBusiness2Phone = 24,
  kTitle = 30,
  kFirstName = 31,
  kMiddleName = 32,
  kLastName = 33,
  kSuffix = 34,
  kHomeStreet = 35,
  kOtherStreet = 40,
  kBusinessStreet = 45,
  kBody = 50,
};

// TEL numbers and their TYPE and PREF parameters.
struct TelSlot {
  std::uint32_t id;
  const char* params;
};
constexpr std::array<TelSlot, 8> kTelSlots = {{
    {kBusinessPhone, ";TYPE=work,voice;PREF=1"},
    {kBusiness2Phone, ";TYPE=work,voice;PREF=2"},
    {kHomePhone, ";TYPE=home,voice;PREF=1"},
    {kHome2Phone, ";TYPE=home,voice;PREF=2"},
    {kMobile, ";TYPE=cell"},
    {kPager, ";TYPE=pager"},
    {kBusinessFax, ";TYPE=work,fax"},
    {kHomeFax, ";TYPE=home,fax"},
}};

constexpr std::array<std::uint32_t, 3> kEmailSlots = {kEmail1, kEmail2,
                                                      kEmail3};

// Fields written by the standard properties; all others become X-VORN-*.
bool IsStandardField(std::uint32_t id) {
  switch (id) {
    case kAnniversary:
    case kBirthday:
    case kCompany:
    case kDepartment:
    case kJobTitle:
    case kCategories:
    case kWebPage:
    case kTitle:
    case kFirstName:
    case kMiddleName:
    case kLastName:
    case kSuffix:
    case kBody:
      return true;
    default:
      break;
  }
  for (const TelSlot& slot : kTelSlots) {
    if (slot.id == id) return true;
  }
  if (std::find(kEmailSlots.begin(), kEmailSlots.end(), id) !=
      kEmailSlots.end()) {
    return true;
  }
  return id >= kHomeStreet && id < kBusinessStreet + 5;
}

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

std::string Utf8(const Contact& contact, std::uint32_t id) {
  return Utf16ToUtf8(contact.Text(id));
}

// Joins components with ';', each escaped.
std::string Structured(const Contact& contact,
                       std::initializer_list<std::uint32_t> ids) {
  std::string out;
  bool first = true;
  for (std::uint32_t id : ids) {
    if (!first) out += ';';
    first = false;
    if (id != 0) out += VCard::EscapeText(Utf8(contact, id));
  }
  return out;
}

bool AnySet(const Contact& contact, std::uint32_t from, std::uint32_t count) {
  for (std::uint32_t id = from; id < from + count; ++id) {
    if (contact.Has(id)) return true;
  }
  return false;
}

std::string Trim(std::string_view text) {
  std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  std::size_t end = text.find_last_not_of(" \t");
  return std::string(text.substr(begin, end - begin + 1));
}

// Splits at separators not preceded by a backslash; parts stay escaped.
std::vector<std::string> SplitEscaped(std::string_view text, char separator) {
  std::vector<std::string> parts(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      parts.back() += text[i];
      parts.back() += text[++i];
    } else if (text[i] == separator) {
      parts.emplace_back();
    } else {
      parts.back() += text[i];
    }
  }
  return parts;
}

// Newlines as the handheld keeps them.
std::u16string ToHandheldText(std::string_view utf8) {
  std::u16string text = Utf8ToUtf16(utf8);
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') {
      continue;  // the \n that follows is written below
    }
    if (text[i] == u'\n' || text[i] == u'\r') {
      out += u"\r\n";
    } else {
      out += text[i];
    }
  }
  return out;
}

struct ContentLine {
  std::string name;  // capitals, group removed
  std::vector<std::pair<std::string, std::string>> params;  // name in capitals
  std::string value;

  // Every value of a parameter, split at commas, in lower case.
  std::vector<std::string> Values(std::string_view param) const {
    std::vector<std::string> out;
    for (const auto& [name, value] : params) {
      if (name != param) continue;
      for (std::string& part : SplitEscaped(value, ',')) {
        out.push_back(Lower(Trim(part)));
      }
    }
    return out;
  }
  bool HasType(std::string_view type) const {
    std::vector<std::string> types = Values("TYPE");
    return std::find(types.begin(), types.end(), type) != types.end();
  }
  int Pref() const {
    std::vector<std::string> prefs = Values("PREF");
    if (prefs.empty()) return HasType("pref") ? 1 : 0;
    int value = 0;
    for (char c : prefs.front()) {
      if (c < '0' || c > '9' || value > 100) return 0;
      value = value * 10 + (c - '0');
    }
    return value;
  }
};

std::optional<ContentLine> ParseContentLine(std::string_view line) {
  std::size_t colon = std::string_view::npos;
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) {
      colon = i;
      break;
    }
  }
  if (colon == std::string_view::npos) return std::nullopt;
  ContentLine out;
  out.value = std::string(line.substr(colon + 1));
  std::string_view head = line.substr(0, colon);
  std::vector<std::string> parts;
  std::string current;
  quoted = false;
  for (char c : head) {
    if (c == '"') {
      quoted = !quoted;
    } else if (c == ';' && !quoted) {
      parts.push_back(current);
      current.clear();
    } else {
      current += c;
    }
  }
  parts.push_back(current);
  std::string name = Upper(Trim(parts.front()));
  if (std::size_t dot = name.rfind('.'); dot != std::string::npos) {
    name = name.substr(dot + 1);
  }
  if (name.empty()) return std::nullopt;
  out.name = name;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    std::size_t eq = parts[i].find('=');
    if (eq == std::string::npos) {
      // vCard 2.1 writes bare types: TEL;HOME;VOICE:...
      out.params.emplace_back("TYPE", Lower(Trim(parts[i])));
    } else {
      out.params.emplace_back(Upper(Trim(parts[i].substr(0, eq))),
                              parts[i].substr(eq + 1));
    }
  }
  return out;
}

// Puts candidates into numbered slots: a PREF naming a free slot wins it,
// the rest fill the free slots in order; what does not fit is dropped.
struct Candidate {
  int pref;
  std::u16string value;
};

void AssignSlots(Contact& contact, const std::vector<std::uint32_t>& slots,
                 const std::vector<Candidate>& candidates) {
  std::vector<bool> placed(candidates.size(), false);
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    int pref = candidates[i].pref;
    if (pref >= 1 && static_cast<std::size_t>(pref) <= slots.size() &&
        !contact.Has(slots[static_cast<std::size_t>(pref) - 1])) {
      contact.SetText(slots[static_cast<std::size_t>(pref) - 1],
                      candidates[i].value);
      placed[i] = true;
    }
  }
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (placed[i]) continue;
    for (std::uint32_t slot : slots) {
      if (!contact.Has(slot)) {
        contact.SetText(slot, candidates[i].value);
        break;
      }
    }
  }
}

void ReadDate(Contact& contact, std::uint32_t id, const ContentLine& line) {
  for (const std::string& v : line.Values("VALUE")) {
    if (v == "text") return;
  }
  Result<TimeRecord> time = TimeRecord::Parse(Trim(line.value));
  if (time.ok()) contact.SetTime(id, *time);
}

void ReadAddress(Contact& contact, std::uint32_t first_id,
                 const std::string& value) {
  std::vector<std::string> parts = SplitEscaped(value, ';');
  parts.resize(7);
  // Post office box and extended address are joined into the street.
  std::string street = VCard::UnescapeText(parts[2]);
  for (int extra : {1, 0}) {
    std::string more =
        VCard::UnescapeText(parts[static_cast<std::size_t>(extra)]);
    if (!more.empty()) {
      if (!street.empty()) street += '\n';
      street += more;
    }
  }
  contact.SetText(first_id, ToHandheldText(street));
  for (std::uint32_t k = 1; k < 5; ++k) {
    contact.SetText(first_id + k,
                    ToHandheldText(VCard::UnescapeText(parts[2 + k])));
  }
}

}  // namespace

std::string VCard::EscapeText(std::string_view text) {
  if (text.find_first_of("\\,;\r\n") == std::string_view::npos) {
    return std::string(text);
  }
  std::string out;
  out.reserve(text.size() + 8);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case ',':
        out += "\\,";
        break;
      case ';':
        out += "\\;";
        break;
      case '\r':
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        out += "\\n";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string VCard::UnescapeText(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    char next = text[++i];
    out += (next == 'n' || next == 'N') ? '\n' : next;
  }
  return out;
}

std::string VCard::FoldLine(std::string_view line) {
  std::string out;
  AppendFolded(out, line);
  return out;
}

void VCard::AppendFolded(std::string& out, std::string_view line) {
  std::size_t limit = kMaxLineOctets;
  while (line.size() > limit) {
    std::size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80) {
      --cut;
    }
    out.append(line.substr(0, cut));
    out += "\r\n ";
    line.remove_prefix(cut);
    limit = kMaxLineOctets - 1;  // the leading space counts
  }
  out.append(line);
  out += "\r\n";
}

std::string VCard::Unfold(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 2 < text.size() && text[i + 1] == '\n' &&
        (text[i + 2] == ' ' || text[i + 2] == '\t')) {
      i += 2;
    } else if (text[i] == '\n' && i + 1 < text.size() &&
               (text[i + 1] == ' ' || text[i + 1] == '\t')) {
      i += 1;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string VCard::Write(const Contact& contact) {
  std::string out;
  out.reserve(512);
  auto line = [&out](const std::string& text) { AppendFolded(out, text); };
  line("BEGIN:VCARD");
  line("VERSION:4.0");

  std::string formatted;
  for (std::uint32_t id :
       {kTitle, kFirstName, kMiddleName, kLastName, kSuffix}) {
    std::string part = Utf8(contact, id);
    if (part.empty()) continue;
    if (!formatted.empty()) formatted += ' ';
    formatted += part;
  }
  if (formatted.empty()) formatted = Utf8(contact, kCompany);
  if (formatted.empty()) formatted = Utf8(contact, kEmail1);
  line("FN:" + EscapeText(formatted));
  if (AnySet(contact, kTitle, 5)) {
    line("N:" + Structured(contact, {kLastName, kFirstName, kMiddleName, kTitle,
                                     kSuffix}));
  }
  if (contact.Has(kCompany) || contact.Has(kDepartment)) {
    line("ORG:" + (contact.Has(kDepartment)
                       ? Structured(contact, {kCompany, kDepartment})
                       : EscapeText(Utf8(contact, kCompany))));
  }
  if (contact.Has(kJobTitle)) {
    line("TITLE:" + EscapeText(Utf8(contact, kJobTitle)));
  }
  for (const TelSlot& slot : kTelSlots) {
    if (!contact.Has(slot.id)) continue;
    line(std::string("TEL") + slot.params + ":" +
         EscapeText(Utf8(contact, slot.id)));
  }
  for (std::size_t i = 0; i < kEmailSlots.size(); ++i) {
    if (!contact.Has(kEmailSlots[i])) continue;
    line("EMAIL;PREF=" + std::to_string(i + 1) + ":" +
         EscapeText(Utf8(contact, kEmailSlots[i])));
  }
  const std::pair<std::uint32_t, const char*> addresses[] = {
      {kHomeStreet, ";TYPE=home"},
      {kBusinessStreet, ";TYPE=work"},
      {kOtherStreet, ""}};
  for (const auto& [first, params] : addresses) {
    if (!AnySet(contact, first, 5)) continue;
    line(std::string("ADR") + params + ":;;" +
         Structured(contact,
                    {first, first + 1, first + 2, first + 3, first + 4}));
  }
  if (auto birthday = contact.Time(kBirthday)) {
    line("BDAY:" + birthday->ToBasic());
  }
  if (auto anniversary = contact.Time(kAnniversary)) {
    line("ANNIVERSARY:" + anniversary->ToBasic());
  }
  if (contact.Has(kWebPage)) {
    std::string url = Utf8(contact, kWebPage);
    std::erase_if(url, [](char c) { return c == '\r' || c == '\n'; });
    line("URL:" + url);
  }
  if (contact.Has(kCategories)) {
    std::string list;
    for (const std::string& part :
         SplitEscaped(Utf8(contact, kCategories), ',')) {
      std::string name = Trim(part);
      if (name.empty()) continue;
      if (!list.empty()) list += ',';
      list += EscapeText(name);
    }
    line("CATEGORIES:" + list);
  }
  if (contact.Has(kBody)) line("NOTE:" + EscapeText(Utf8(contact, kBody)));
  for (const auto& [id, value] : contact.fields()) {
    if (IsStandardField(id)) continue;
    line("X-VORN-" + Upper(Contact::FieldName(id)) + ":" +
         EscapeText(Utf16ToUtf8(std::get<std::u16string>(value))));
  }
  if (contact.oid) line("X-VORN-OID:" + std::to_string(*contact.oid));
  if (!contact.uid.empty()) line("UID:" + contact.uid);
  if (!contact.rev.empty()) line("REV:" + contact.rev);
  line("END:VCARD");
  return out;
}

Result<std::vector<Contact>> VCard::Parse(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::string unfolded = Unfold(text);
  std::vector<Contact> contacts;
  std::optional<Contact> card;
  std::vector<Candidate> emails, work, home, other;
  std::string formatted_name;
  std::size_t line_number = 0;
  std::string_view rest(unfolded);
  while (!rest.empty()) {
    std::size_t end = rest.find('\n');
    std::string_view raw = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view()
                                         : rest.substr(end + 1);
    ++line_number;
    if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
    if (Trim(raw).empty()) continue;
    std::optional<ContentLine> line = ParseContentLine(raw);
    if (!line) {
      return Status::Error("vCard line " + std::to_string(line_number) +
                           ": not a property");
    }
    const std::string& name = line->name;
    if (name == "BEGIN" && Upper(Trim(line->value)) == "VCARD") {
      if (card) {
        return Status::Error("vCard line " + std::to_string(line_number) +
                             ": BEGIN inside a card");
      }
      card.emplace();
      emails.clear(), work.clear(), home.clear(), other.clear();
      formatted_name.clear();
      continue;
    }
    if (!card) {
      return Status::Error("vCard line " + std::to_string(line_number) + ": " +
                           name + " outside BEGIN:VCARD");
    }
    Contact& c = *card;
    std::u16string text_value = ToHandheldText(UnescapeText(line->value));
    if (name == "END") {
      AssignSlots(c, {kEmail1, kEmail2, kEmail3}, emails);
      AssignSlots(c, {kBusinessPhone, kBusiness2Phone}, work);
      AssignSlots(c, {kHomePhone, kHome2Phone}, home);
      AssignSlots(
          c,
          {kHomePhone, kBusinessPhone, kHome2Phone, kBusiness2Phone, kMobile},
          other);
      // A card without names takes them from FN, unless FN merely repeats
      // the first e-mail address (as written for contacts without names).
      if (!AnySet(c, kTitle, 5) && !c.Has(kCompany) &&
          !formatted_name.empty() &&
          ToHandheldText(formatted_name) != c.Text(kEmail1)) {
        std::size_t space = formatted_name.rfind(' ');
        if (space == std::string::npos) {
          c.SetText(kLastName, ToHandheldText(formatted_name));
        } else {
          c.SetText(kFirstName,
                    ToHandheldText(Trim(formatted_name.substr(0, space))));
          c.SetText(kLastName,
                    ToHandheldText(formatted_name.substr(space + 1)));
        }
      }
      contacts.push_back(std::move(c));
      card.reset();
    } else if (name == "FN") {
      formatted_name = Trim(UnescapeText(line->value));
    } else if (name == "N") {
      std::vector<std::string> parts = SplitEscaped(line->value, ';');
      parts.resize(5);
      const std::uint32_t ids[5] = {kLastName, kFirstName, kMiddleName, kTitle,
                                    kSuffix};
      for (int i = 0; i < 5; ++i) {
        // A component may list several values; keep them as one text.
        std::string joined;
        for (const std::string& v :
             SplitEscaped(parts[static_cast<std::size_t>(i)], ',')) {
          std::string value = UnescapeText(v);
          if (value.empty()) continue;
          if (!joined.empty()) joined += ' ';
          joined += value;
        }
        c.SetText(ids[i], ToHandheldText(joined));
      }
    } else if (name == "ORG") {
      std::vector<std::string> parts = SplitEscaped(line->value, ';');
      parts.resize(2);
      c.SetText(kCompany, ToHandheldText(UnescapeText(parts[0])));
      c.SetText(kDepartment, ToHandheldText(UnescapeText(parts[1])));
    } else if (name == "TITLE") {
      c.SetText(kJobTitle, text_value);
    } else if (name == "TEL") {
      std::string number = Trim(line->value);
      if (number.starts_with("tel:")) number = number.substr(4);
      Candidate candidate{line->Pref(), ToHandheldText(UnescapeText(number))};
      bool is_home = line->HasType("home");
      if (line->HasType("fax")) {
        c.SetText(is_home ? kHomeFax : kBusinessFax, candidate.value);
      } else if (line->HasType("cell")) {
        c.SetText(kMobile, candidate.value);
      } else if (line->HasType("pager")) {
        c.SetText(kPager, candidate.value);
      } else if (is_home) {
        home.push_back(std::move(candidate));
      } else if (line->HasType("work")) {
        work.push_back(std::move(candidate));
      } else {
        candidate.pref = 0;
        other.push_back(std::move(candidate));
      }
    } else if (name == "EMAIL") {
      emails.push_back({line->Pref(), text_value});
    } else if (name == "ADR") {
      std::uint32_t first = line->HasType("home")   ? kHomeStreet
                            : line->HasType("work") ? kBusinessStreet
                                                    : kOtherStreet;
      ReadAddress(c, first, line->value);
    } else if (name == "BDAY") {
      ReadDate(c, kBirthday, *line);
    } else if (name == "ANNIVERSARY") {
      ReadDate(c, kAnniversary, *line);
    } else if (name == "URL") {
      c.SetText(kWebPage, ToHandheldText(Trim(line->value)));
    } else if (name == "CATEGORIES") {
      std::u16string list;
      for (const std::string& part : SplitEscaped(line->value, ',')) {
        std::u16string category = ToHandheldText(Trim(UnescapeText(part)));
        if (category.empty()) continue;
        if (!list.empty()) list += u", ";
        list += category;
      }
      c.SetText(kCategories, list);
    } else if (name == "NOTE") {
      c.SetText(kBody, text_value);
    } else if (name == "UID") {
      c.uid = Trim(line->value);
    } else if (name == "REV") {
      c.rev = Trim(line->value);
    } else if (name == "X-VORN-OID") {
      std::string digits = Trim(line->value);
      std::uint64_t oid = 0;
      bool good = !digits.empty() && digits.size() <= 10;
      for (char ch : digits) {
        if (ch < '0' || ch > '9') good = false;
        oid = oid * 10 + static_cast<std::uint64_t>(ch - '0');
      }
      if (good && oid != 0 && oid <= 0xFFFFFFFFu) {
        c.oid = static_cast<std::uint32_t>(oid);
      }
    } else if (name.starts_with("X-VORN-")) {
      std::optional<std::uint32_t> id = Contact::FieldId(name.substr(7));
      if (id && !Contact::IsTimeField(*id)) c.SetText(*id, text_value);
    }
  }
  if (card) return Status::Error("vCard ends inside a card (no END:VCARD)");
  return contacts;
}

}  // namespace desktop
