#include "device/richink/pwi_reader.h"

#include <algorithm>
#include <map>
#include <set>

#include "device/richink/pwi_format.h"

namespace device {
namespace {

// No note holds more paragraphs or text than this; what lies beyond is not
// read.
constexpr std::size_t kMaxParagraphs = 65536;
constexpr std::size_t kMaxTextUnits = std::size_t{8} * 1024 * 1024;

constexpr char16_t kReplacement = 0xFFFD;

struct Record {
  std::uint16_t type = 0;
  std::uint16_t id = 0;
  std::size_t offset = 0;  // of the payload
  std::size_t size = 0;
};

std::uint16_t U16At(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

// The chain of records after the header, up to the end record, the end of
// the file or the first record whose payload would run past it.
std::vector<Record> WalkRecords(std::span<const std::uint8_t> file) {
  std::vector<Record> records;
  std::size_t at = pwi::kHeaderSize;
  while (file.size() - at >= pwi::kRecordHeaderSize) {
    Record record;
    record.type = U16At(file, at);
    record.id = U16At(file, at + 2);
    std::uint16_t length = U16At(file, at + 4);
    record.size = record.type == pwi::kObjectData
                      ? length + (std::size_t{record.id} << 16)
                      : std::size_t{length} * 4;
    record.offset = at + pwi::kRecordHeaderSize;
    if (record.size > file.size() - record.offset) break;
    records.push_back(record);
    if (record.type == pwi::kEnd) break;
    at = record.offset + record.size;
  }
  return records;
}

// The paragraph records in the order of the paragraph list when the list
// can be trusted (one list, ids unique, every id it names a paragraph),
// else in file order.
std::vector<const Record*> ParagraphOrder(std::span<const std::uint8_t> file,
                                          const std::vector<Record>& records) {
  std::vector<const Record*> inFileOrder;
  const Record* list = nullptr;
  int lists = 0;
  std::set<std::uint16_t> ids;
  bool unique = true;
  std::map<std::uint16_t, const Record*> paragraphs;
  for (const Record& record : records) {
    if (!ids.insert(record.id).second) unique = false;
    if (record.type == pwi::kParagraph) {
      inFileOrder.push_back(&record);
      paragraphs[record.id] = &record;
    } else if (record.type == pwi::kParagraphList) {
      list = &record;
      ++lists;
    }
  }
  if (lists != 1 || !unique || list->size < pwi::kListPrefixSize ||
      list->size % pwi::kListEntrySize != 0) {
    return inFileOrder;
  }
  std::vector<const Record*> listed;
  std::set<std::uint16_t> named;
  std::size_t entries =
      (list->size - pwi::kListPrefixSize) / pwi::kListEntrySize;
  for (std::size_t i = 0; i < entries; ++i) {
    std::size_t entry =
        list->offset + pwi::kListPrefixSize + i * pwi::kListEntrySize;
    std::uint16_t id = U16At(file, entry + 4);
    if (id == 0) continue;
    auto found = paragraphs.find(id);
    if (found == paragraphs.end() || !named.insert(id).second) {
      return inFileOrder;
    }
    listed.push_back(found->second);
  }
  return listed;
}

// The number of argument bytes after a lead byte of 0x80 or above that is
// neither a character nor the control code; -1 for unknown lead bytes.
int ArgumentBytes(std::uint8_t lead) {
  switch (lead) {
    case 0xC2:
    case 0xC3:
    case 0xC5:
    case 0xE5:
    case 0xE6:
    case 0xE7:
    case 0xE8:
      return 2;
    case 0xE9:
    case 0xEA:
    case 0xEB:
    case 0xEC:
      return 1;
    case 0xEF:
      return 3;
    case 0xF1:
      return 7;
    default:
      return -1;
  }
}

// A decoded character, or U+FFFD for what text cannot hold.
char16_t Checked(std::uint32_t code) {
  if (code == '\t') return u'\t';
  if (code < 0x20 || (code >= 0x7F && code < 0xA0) ||
      (code >= 0xD800 && code < 0xE000)) {
    return kReplacement;
  }
  return static_cast<char16_t>(code);
}

// Decodes the coded text of one paragraph record, appending to `out`.
void DecodeParagraph(std::span<const std::uint8_t> file, const Record& record,
                     std::u16string& out) {
  if (record.size < pwi::kParagraphHeaderSize) return;
  std::size_t at = record.offset + pwi::kParagraphHeaderSize;
  const std::size_t end = record.offset + record.size;
  while (at < end && out.size() < kMaxTextUnits) {
    std::uint8_t lead = file[at];
    if (lead >= 0x20 && lead <= 0x7E) {
      out.push_back(static_cast<char16_t>(lead));
      ++at;
      continue;
    }
    if (lead < 0x80) {
      // A raw tab is taken as a tab; other control bytes are dropped.
      if (lead == '\t') out.push_back(u'\t');
      ++at;
      continue;
    }
    if (end - at < 2) return;  // a code cut off by the payload's end
    std::uint8_t arg = file[at + 1];
    if (lead <= 0xBF) {
      out.push_back(Checked((lead & 0x3FU) | (std::uint32_t{arg} << 6)));
      at += 2;
    } else if (lead == pwi::kWestern) {
      char16_t c = PwiWesternCharacter(arg);
      if (c == u'\t' || c >= 0x20) out.push_back(c);
      at += 2;
    } else if (lead == pwi::kControl) {
      if (arg == pwi::kEndOfText) return;
      if (arg == pwi::kTab) out.push_back(u'\t');
      std::size_t extra = arg == 0x19 ? 2 : arg == 0x1B ? 6 : 0;
      if (end - at < 2 + extra) return;
      at += 2 + extra;
    } else {
      int args = ArgumentBytes(lead);
      if (args < 0) {
        ++at;  // unknown lead byte: skipped alone
      } else {
        if (end - at < 1 + static_cast<std::size_t>(args)) return;
        at += 1 + static_cast<std::size_t>(args);
      }
    }
  }
}

}  // namespace

char16_t PwiWesternCharacter(std::uint8_t code) {
  static constexpr char16_t kHigh[32] = {
      0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
      0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
  if (code >= 0x80 && code < 0xA0) return kHigh[code - 0x80];
  return static_cast<char16_t>(code);
}

std::optional<std::vector<std::u16string>> ReadPwiParagraphs(
    std::span<const std::uint8_t> file) {
  if (file.size() < pwi::kHeaderSize ||
      !std::equal(pwi::kHeader, pwi::kHeader + pwi::kMagicSize, file.begin())) {
    return std::nullopt;
  }
  if (file.size() > kPwiMaxFileSize) file = file.first(kPwiMaxFileSize);
  std::vector<Record> records = WalkRecords(file);
  std::vector<std::u16string> paragraphs;
  std::size_t units = 0;
  for (const Record* record : ParagraphOrder(file, records)) {
    if (paragraphs.size() == kMaxParagraphs || units >= kMaxTextUnits) break;
    std::u16string text;
    DecodeParagraph(file, *record, text);
    units += text.size() + 1;
    paragraphs.push_back(std::move(text));
  }
  return paragraphs;
}

}  // namespace device
