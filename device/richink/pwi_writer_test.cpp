// The note file writer against the container's layout, byte for byte.
#include "device/richink/pwi_writer.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "device/richink/pwi_reader.h"

namespace device {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Add(Bytes& out, std::initializer_list<int> bytes) {
  for (int b : bytes) out.push_back(static_cast<std::uint8_t>(b));
}
void Zeros(Bytes& out, std::size_t n) { out.insert(out.end(), n, 0); }
void Utf16(Bytes& out, std::u16string_view text) {
  for (char16_t c : text) Add(out, {c & 0xFF, c >> 8});
}

// The note file of the paragraphs "Hello" and "World", written out by hand
// from the container's description, record by record.
Bytes HelloWorldByHand() {
  Bytes f;
  // Header: magic, unknown 15 00 00, 01 01, version 6, 00 00.
  Add(f, {0x7B, 0x5C, 0x70, 0x77, 0x69, 0x15, 0x00, 0x00, 0x01, 0x01, 0x06,
          0x00, 0x00, 0x00});
  // Font table, id 2, 44 words: prefix with two fonts, then each font.
  Add(f, {0x00, 0x00, 0x02, 0x00, 0x2C, 0x00});
  Add(f, {0x01, 0x00, 0x0A, 0x00, 0x02, 0x00});
  Zeros(f, 10);
  Add(f, {0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});
  Zeros(f, 8);
  Utf16(f, u"Tahoma");
  Zeros(f, 52);
  Add(f, {0x02, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00});
  Zeros(f, 8);
  Utf16(f, u"Courier New");
  Zeros(f, 42);
  // Zones 20 and 21.
  Add(f, {0x14, 0x00, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});
  Add(f, {0x15, 0x00, 0x05, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});
  // Page setup, id 6, 21 words.
  Add(f, {0x07, 0x00, 0x06, 0x00, 0x15, 0x00});
  Add(f, {0x10, 0x00, 0x01, 0x00, 0xD0, 0x2F, 0x00, 0x00, 0xE0, 0x3D, 0x00,
          0x00, 0xF0, 0x00, 0x00, 0x00, 0xA0, 0x05, 0x00, 0x00, 0xA0, 0x05,
          0x00, 0x00, 0xA0, 0x05, 0x00, 0x00, 0xA0, 0x05, 0x00, 0x00});
  Zeros(f, 14);
  Add(f, {0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00});
  Zeros(f, 8);
  Add(f, {0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00});
  Zeros(f, 14);
  // Zone 8, id 7, 16 words.
  Add(f, {0x08, 0x00, 0x07, 0x00, 0x10, 0x00});
  Add(f, {0x01});
  Zeros(f, 19);
  Add(f, {0x12, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F, 0x04, 0x00,
          0x00, 0xE2, 0x02, 0x00, 0x00});
  Zeros(f, 8);
  Add(f, {0x3D, 0x04, 0x00, 0x00, 0xE2, 0x02, 0x00, 0x00});
  Zeros(f, 12);
  // Paragraph list, id 8, 10 words: 2, 2, 12 characters, 2 lines, 0, 0;
  // then per paragraph 1 line, 6 characters, paragraph id 0x23.
  Add(f, {0x40, 0x00, 0x08, 0x00, 0x0A, 0x00});
  Add(f, {0x02, 0, 0, 0, 0x02, 0, 0, 0, 0x0C, 0, 0, 0, 0x02, 0, 0, 0});
  Zeros(f, 8);
  Add(f, {0x01, 0x00, 0x06, 0x00, 0x23, 0x00, 0x00, 0x00});
  Add(f, {0x01, 0x00, 0x06, 0x00, 0x23, 0x00, 0x00, 0x00});
  // "Hello": 6 characters, F 13, 1 line, FF FF, layout id 0x22.
  Add(f, {0x41, 0x00, 0x23, 0x00, 0x0A, 0x00});
  Add(f, {0x06, 0x00, 0x0D, 0x00, 0x01, 0x00, 0xFF, 0xFF, 0x22, 0x00});
  Zeros(f, 14);
  Add(f, {0xE5, 0x02, 0x00, 0xE6, 0x0A, 0x00, 'H', 'e', 'l', 'l', 'o', 0xC4,
          0x00});
  Zeros(f, 3);
  Add(f, {0x42, 0x00, 0x22, 0x00, 0x03, 0x00});
  Add(f,
      {0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0xB4, 0x00, 0x0C, 0x04, 0x00, 0x00});
  // "World", the last paragraph: back to font 1, size 0.
  Add(f, {0x41, 0x00, 0x23, 0x00, 0x0B, 0x00});
  Add(f, {0x06, 0x00, 0x13, 0x00, 0x01, 0x00, 0xFF, 0xFF, 0x22, 0x00});
  Zeros(f, 14);
  Add(f, {0xE5, 0x02, 0x00, 0xE6, 0x0A, 0x00, 'W', 'o', 'r', 'l', 'd', 0xE5,
          0x01, 0x00, 0xE6, 0x00, 0x00, 0xC4, 0x00});
  Zeros(f, 1);
  Add(f, {0x42, 0x00, 0x22, 0x00, 0x03, 0x00});
  Add(f,
      {0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0xB4, 0x00, 0x0C, 0x04, 0x00, 0x00});
  // End record.
  Add(f, {0x82, 0x00, 0x09, 0x00, 0x03, 0x00, 0x82, 0x00});
  Zeros(f, 10);
  return f;
}

TEST(PwiWriterTest, TwoParagraphsMatchTheFileBuiltByHand) {
  Bytes expected = HelloWorldByHand();
  ASSERT_EQ(expected.size(), 572U);
  EXPECT_EQ(WritePwi({u"Hello", u"World"}), expected);
}

TEST(PwiWriterTest, SizesOfTheReferenceVectors) {
  EXPECT_EQ(WritePwi({u"Hello"}).size(), 500U);
  EXPECT_EQ(WritePwi({u""}).size(), 496U);
  EXPECT_EQ(WritePwi({}).size(), 496U);
  EXPECT_EQ(WritePwi({u"a\tb"}).size(), 500U);
  EXPECT_EQ(WritePwi({u"caf\u00e9"}).size(), 500U);
  EXPECT_EQ(WritePwi({u"The quick brown fox jumps over the lazy dog"}).size(),
            548U);
}

TEST(PwiWriterTest, LongParagraphIsLaidOutInLines) {
  Bytes file = WritePwi({u"The quick brown fox jumps over the lazy dog"});
  // The layout record follows the paragraph record: 26 characters wide 900,
  // then 18 characters wide 612.
  const Bytes layout = {0x42, 0x00, 0x22, 0x00, 0x05, 0x00, 0x1A, 0x00, 0x00,
                        0x00, 0x00, 0x00, 0x84, 0x03, 0x0C, 0x04, 0x12, 0x00,
                        0x00, 0x00, 0x00, 0x00, 0x64, 0x02, 0x0C, 0x04};
  ASSERT_GE(file.size(), 18 + layout.size());
  EXPECT_EQ(Bytes(file.end() - 18 - static_cast<long>(layout.size()),
                  file.end() - 18),
            layout);
}

TEST(PwiWriterTest, CharactersAreCodedAsTheContainerKnowsThem) {
  Bytes file = WritePwi({u"\t\u00e9\u03b1\u4e2d"});
  // Tab C4 04, é C1 E9, α (U+03B1) in the two-byte form B1 0E, 中 as '?'.
  const Bytes coded = {0xE5, 0x02, 0x00, 0xE6, 0x0A, 0x00, 0xC4,
                       0x04, 0xC1, 0xE9, 0xB1, 0x0E, '?'};
  auto at = std::search(file.begin(), file.end(), coded.begin(), coded.end());
  EXPECT_NE(at, file.end());
}

TEST(PwiWriterTest, EveryScriptBelowU4000ComesBackAndCjkBecomesQuestionMarks) {
  const std::vector<std::u16string> text = {
      u"Cr\u00e8me br\u00fbl\u00e9e, \u00e5\u00df\u00f1",
      u"\u039a\u03b1\u03bb\u03b7\u03bc\u03ad\u03c1\u03b1",  // Greek
      u"\u041f\u0440\u0438\u0432\u0435\u0442",              // Cyrillic
      u"\u0645\u0631\u062d\u0628\u0627",                    // Arabic
      u"\u20ac 5 \u2014 \u2019",  // euro sign, dash, apostrophe
  };
  auto read = ReadPwiParagraphs(WritePwi(text));
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(*read, text);
  auto cjk = ReadPwiParagraphs(WritePwi({u"\u4e2d\u6587 ok \U0001F600"}));
  ASSERT_TRUE(cjk.has_value());
  EXPECT_EQ(*cjk, std::vector<std::u16string>({u"?? ok ?"}));
}

TEST(PwiWriterTest, ControlsBecomeQuestionMarks) {
  auto read =
      ReadPwiParagraphs(WritePwi({u"a\x01"
                                  u"b\u0085c"}));
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(*read, std::vector<std::u16string>({u"a?b?c"}));
}

TEST(PwiWriterTest, OverlongParagraphIsSplit) {
  std::u16string text(kPwiMaxParagraphBytes + 10, u'x');
  auto read = ReadPwiParagraphs(WritePwi({text}));
  ASSERT_TRUE(read.has_value());
  ASSERT_EQ(read->size(), 2U);
  EXPECT_EQ((*read)[0] + (*read)[1], text);
}

TEST(PwiWriterTest, SplitParagraphsAtEveryLineBreak) {
  EXPECT_EQ(SplitParagraphs(u"a\r\nb\nc\rd"),
            std::vector<std::u16string>({u"a", u"b", u"c", u"d"}));
  EXPECT_EQ(SplitParagraphs(u""), std::vector<std::u16string>({u""}));
  EXPECT_EQ(SplitParagraphs(u"a\r\n"),
            std::vector<std::u16string>({u"a", u""}));
}

}  // namespace
}  // namespace device
