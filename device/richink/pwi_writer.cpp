#include "device/richink/pwi_writer.h"

#include "device/richink/pwi_format.h"

namespace device {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Ids of the fixed records and of every paragraph and layout record; the
// paragraph records all share one id, and so do the layout records.
constexpr std::uint16_t kParagraphId = 0x23;
constexpr std::uint16_t kLayoutId = 0x22;
// Line layout of Courier New 10 pt: up to 30 characters, 36 units each.
constexpr std::size_t kLineCharacters = 30;
constexpr std::uint16_t kCharacterWidth = 36;

constexpr std::uint8_t kPageSetup[84] = {
    0x10, 0x00, 0x01, 0x00, 0xD0, 0x2F, 0x00, 0x00, 0xE0, 0x3D, 0x00, 0x00,
    0xF0, 0x00, 0x00, 0x00, 0xA0, 0x05, 0x00, 0x00, 0xA0, 0x05, 0x00, 0x00,
    0xA0, 0x05, 0x00, 0x00, 0xA0, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

constexpr std::uint8_t kZone8[64] = {
    0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x12, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F, 0x04, 0x00, 0x00, 0xE2,
    0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x3D, 0x04, 0x00, 0x00, 0xE2, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

void Put16(Bytes& out, std::uint32_t value) {
  out.push_back(static_cast<std::uint8_t>(value));
  out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void Put32(Bytes& out, std::uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

void PadToWords(Bytes& out) {
  while (out.size() % 4 != 0) out.push_back(0);
}

void PutRecord(Bytes& out, std::uint16_t type, std::uint16_t id,
               const Bytes& payload) {
  Put16(out, type);
  Put16(out, id);
  Put16(out, static_cast<std::uint32_t>(payload.size() / 4));
  out.insert(out.end(), payload.begin(), payload.end());
}

void PutFont(Bytes& out, std::uint16_t id, std::uint16_t flags,
             std::u16string_view name) {
  Put16(out, id);
  Put16(out, 1);
  Put16(out, 0);
  Put16(out, flags);
  out.insert(out.end(), 8, 0);
  for (char16_t c : name) Put16(out, c);
  out.insert(out.end(), 64 - 2 * name.size(), 0);
}

// A paragraph as the container codes it: its coded characters and, for the
// line layout, which of them are whitespace.
struct CodedParagraph {
  Bytes text;
  std::vector<bool> whitespace;  // one per character
  std::size_t characters() const { return whitespace.size(); }
};

void Code(char16_t c, CodedParagraph& out) {
  out.whitespace.push_back(c == u' ' || c == u'\t');
  if (c == u'\t') {
    out.text.push_back(pwi::kControl);
    out.text.push_back(pwi::kTab);
  } else if (c >= 0x20 && c <= 0x7E) {
    out.text.push_back(static_cast<std::uint8_t>(c));
  } else if (c >= 0xA0 && c <= 0xFF) {
    out.text.push_back(pwi::kWestern);
    out.text.push_back(static_cast<std::uint8_t>(c));
  } else if (c >= 0x100 && c <= 0x3FFF) {
    out.text.push_back(static_cast<std::uint8_t>(0x80 | (c & 0x3F)));
    out.text.push_back(static_cast<std::uint8_t>(c >> 6));
  } else {
    out.text.push_back('?');
  }
}

// Codes the paragraphs, splitting any whose coded text would pass the
// limit and joining those past the paragraph limit to the last one.
std::vector<CodedParagraph> CodeAll(
    const std::vector<std::u16string>& paragraphs) {
  std::vector<CodedParagraph> coded(1);
  for (std::size_t p = 0; p < paragraphs.size(); ++p) {
    if (p > 0) {
      if (coded.size() < kPwiMaxParagraphs) {
        coded.emplace_back();
      } else {
        Code(u' ', coded.back());
      }
    }
    const std::u16string& text = paragraphs[p];
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (coded.back().text.size() + 2 > kPwiMaxParagraphBytes &&
          coded.size() < kPwiMaxParagraphs) {
        coded.emplace_back();
      }
      char16_t c = text[i];
      // A surrogate pair is one character the container cannot hold.
      if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() &&
          text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
        ++i;
      }
      Code(c, coded.back());
    }
  }
  return coded;
}

struct Line {
  std::uint16_t characters;
  std::uint16_t width;
};

// Breaks a paragraph into displayed lines of Courier New 10 pt; the counts
// add up to the characters plus the paragraph mark.
std::vector<Line> Layout(const CodedParagraph& paragraph) {
  std::size_t n = paragraph.characters();
  std::vector<Line> lines;
  if (n == 0) return {{1, 0}};
  std::size_t start = 0;
  while (start < n) {
    std::size_t remaining = n - start;
    if (remaining < kLineCharacters) {
      lines.push_back(
          {static_cast<std::uint16_t>(remaining + 1),
           static_cast<std::uint16_t>(remaining * kCharacterWidth)});
      return lines;
    }
    std::size_t breakAt = kLineCharacters;
    for (std::size_t w = kLineCharacters; w-- > 0;) {
      if (paragraph.whitespace[start + w]) {
        breakAt = w;
        break;
      }
    }
    std::size_t taken =
        breakAt == kLineCharacters ? kLineCharacters - 1 : breakAt + 1;
    std::size_t width =
        breakAt == kLineCharacters ? kLineCharacters - 1 : breakAt;
    lines.push_back({static_cast<std::uint16_t>(taken),
                     static_cast<std::uint16_t>(width * kCharacterWidth)});
    start += taken;
  }
  // The text ended exactly with a full line: it carries the paragraph mark.
  ++lines.back().characters;
  return lines;
}

}  // namespace

std::vector<std::u16string> SplitParagraphs(std::u16string_view text) {
  std::vector<std::u16string> paragraphs(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t c = text[i];
    if (c == u'\r' || c == u'\n') {
      if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') ++i;
      paragraphs.emplace_back();
    } else {
      paragraphs.back().push_back(c);
    }
  }
  return paragraphs;
}

std::vector<std::uint8_t> WritePwi(
    const std::vector<std::u16string>& paragraphs) {
  std::vector<CodedParagraph> coded = CodeAll(paragraphs);
  std::vector<std::vector<Line>> layouts;
  layouts.reserve(coded.size());
  for (const CodedParagraph& paragraph : coded) {
    layouts.push_back(Layout(paragraph));
  }

  Bytes out(pwi::kHeader, pwi::kHeader + pwi::kHeaderSize);

  Bytes fonts = {0x01, 0x00, 0x0A, 0x00, 0x02, 0x00};
  fonts.insert(fonts.end(), 10, 0);
  PutFont(fonts, 1, 0, u"Tahoma");
  PutFont(fonts, 2, 1, u"Courier New");
  PutRecord(out, pwi::kFontTable, 2, fonts);
  PutRecord(out, pwi::kZone20, 4, Bytes(4, 0));
  PutRecord(out, pwi::kZone21, 5, Bytes(4, 0));
  PutRecord(out, pwi::kPageSetup, 6,
            Bytes(kPageSetup, kPageSetup + sizeof(kPageSetup)));
  PutRecord(out, pwi::kZone8, 7, Bytes(kZone8, kZone8 + sizeof(kZone8)));

  std::uint32_t characters = 0;
  std::uint32_t lines = 0;
  for (std::size_t i = 0; i < coded.size(); ++i) {
    characters += static_cast<std::uint32_t>(coded[i].characters() + 1);
    lines += static_cast<std::uint32_t>(layouts[i].size());
  }
  auto count = static_cast<std::uint32_t>(coded.size());
  Bytes list;
  Put32(list, count);
  Put32(list, count);
  Put32(list, characters);
  Put32(list, lines);
  Put32(list, 0);
  Put32(list, 0);
  for (std::size_t i = 0; i < coded.size(); ++i) {
    Put16(list, static_cast<std::uint32_t>(layouts[i].size()));
    Put16(list, static_cast<std::uint32_t>(coded[i].characters() + 1));
    Put16(list, kParagraphId);
    Put16(list, 0);
  }
  PutRecord(out, pwi::kParagraphList, 8, list);

  for (std::size_t i = 0; i < coded.size(); ++i) {
    Bytes body = {pwi::kFont, 0x02, 0x00, pwi::kSize, 0x0A, 0x00};
    body.insert(body.end(), coded[i].text.begin(), coded[i].text.end());
    if (i + 1 == coded.size()) {
      body.insert(body.end(), {pwi::kFont, 0x01, 0x00, pwi::kSize, 0x00, 0x00});
    }
    body.push_back(pwi::kControl);
    body.push_back(pwi::kEndOfText);

    Bytes paragraph;
    Put16(paragraph, static_cast<std::uint32_t>(coded[i].characters() + 1));
    Put16(paragraph, static_cast<std::uint32_t>(body.size()));
    Put16(paragraph, static_cast<std::uint32_t>(layouts[i].size()));
    Put16(paragraph, 0xFFFF);
    Put16(paragraph, kLayoutId);
    paragraph.insert(paragraph.end(), 14, 0);
    paragraph.insert(paragraph.end(), body.begin(), body.end());
    paragraph.push_back(0);
    PadToWords(paragraph);
    PutRecord(out, pwi::kParagraph, kParagraphId, paragraph);

    Bytes layout;
    for (const Line& line : layouts[i]) {
      Put16(layout, line.characters);
      Put32(layout, 0);
      Put16(layout, line.width);
      layout.push_back(0x0C);
      layout.push_back(0x04);
    }
    PadToWords(layout);
    PutRecord(out, pwi::kLineLayout, kLayoutId, layout);
  }

  PutRecord(out, pwi::kEnd, 9, {0x82, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  return out;
}

}  // namespace device
