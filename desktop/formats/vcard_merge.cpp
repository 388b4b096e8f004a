#include "desktop/formats/vcard_merge.h"

#include <algorithm>
#include <array>
#include <vector>

#include "desktop/base/utf16.h"
#include "desktop/formats/vcard.h"

namespace desktop {
namespace {

constexpr std::array<std::string_view, 15> kOwned = {
    "BEGIN", "END",        "VERSION", "FN",   "N",
    "ORG",   "TITLE",      "ADR",     "BDAY", "ANNIVERSARY",
    "URL",   "CATEGORIES", "NOTE",    "UID",  "REV"};

// E-mail and telephone fields of a contact, the ones TEL and EMAIL fill.
constexpr std::array<std::uint32_t, 3> kEmailIds = {6, 13, 15};
constexpr std::array<std::uint32_t, 8> kTelIds = {3, 7, 9, 10, 12, 16, 17, 24};

// The property name of an unfolded content line: before ';' or ':', group
// removed, in capitals.
std::string PropertyName(std::string_view line) {
  std::size_t end = line.find_first_of(";:");
  std::string name(line.substr(0, end));
  if (std::size_t dot = name.rfind('.'); dot != std::string::npos) {
    name = name.substr(dot + 1);
  }
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return name;
}

// The unescaped value of a content line (after the first ':' outside
// quotes), as the handheld would hold it.
std::u16string LineValue(std::string_view line) {
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) {
      std::string value = VCard::UnescapeText(line.substr(i + 1));
      if (value.starts_with("tel:")) value = value.substr(4);
      std::size_t begin = value.find_first_not_of(" \t");
      std::size_t last = value.find_last_not_of(" \t");
      if (begin == std::string::npos) return {};
      return Utf8ToUtf16(value.substr(begin, last - begin + 1));
    }
  }
  return {};
}

// Takes `value` out of `pool` when it is there.
bool Take(std::vector<std::u16string>& pool, const std::u16string& value) {
  auto it = std::find(pool.begin(), pool.end(), value);
  if (it == pool.end()) return false;
  pool.erase(it);
  return true;
}

}  // namespace

Result<std::vector<std::string>> VCardMerge::ForeignLines(
    std::string_view text) {
  Result<std::vector<Contact>> cards = VCard::Parse(text);
  if (!cards.ok()) return cards.status();
  if (cards->size() != 1) {
    return Status::Error("the file holds " + std::to_string(cards->size()) +
                         " cards, not one");
  }
  const Contact& old = cards->front();
  std::vector<std::u16string> emails, numbers;
  for (std::uint32_t id : kEmailIds) {
    if (old.Has(id)) emails.emplace_back(old.Text(id));
  }
  for (std::uint32_t id : kTelIds) {
    if (old.Has(id)) numbers.emplace_back(old.Text(id));
  }
  std::vector<std::string> kept;
  std::string unfolded = VCard::Unfold(text);
  std::string_view rest(unfolded);
  while (!rest.empty()) {
    std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view()
                                         : rest.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
    std::string name = PropertyName(line);
    if (std::find(kOwned.begin(), kOwned.end(), name) != kOwned.end() ||
        name.starts_with("X-VORN-")) {
      continue;
    }
    if (name == "EMAIL" && Take(emails, LineValue(line))) continue;
    if (name == "TEL" && Take(numbers, LineValue(line))) continue;
    kept.emplace_back(line);
  }
  return kept;
}

Result<std::string> VCardMerge::Merge(const Contact& contact,
                                      std::string_view existing) {
  std::string card = VCard::Write(contact);
  if (existing.empty()) return card;
  Result<std::vector<std::string>> kept = ForeignLines(existing);
  if (!kept.ok()) return kept.status();
  // The kept lines go first: where a property fills a single field (a
  // mobile number), the handheld's own line after them is the one read.
  constexpr std::string_view kHead = "BEGIN:VCARD\r\nVERSION:4.0\r\n";
  if (!card.starts_with(kHead)) return Status::Error("unexpected card text");
  std::string kept_text;
  for (const std::string& line : *kept) kept_text += VCard::FoldLine(line);
  card.insert(kHead.size(), kept_text);
  return card;
}

}  // namespace desktop
