// The note file reader: files of the writer, files edited the way other
// writers and damaged media leave them, and files that are no note files.
#include "device/richink/pwi_reader.h"

#include <gtest/gtest.h>

#include "device/richink/pwi_writer.h"

namespace device {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Paragraphs = std::vector<std::u16string>;

const Paragraphs kHelloWorld = {u"Hello", u"World"};
// Where the first paragraph record starts in a file of two paragraphs.
constexpr std::size_t kFirstParagraph = 0x1A6;
constexpr std::size_t kSecondParagraph = 0x1E6;

void Put16(Bytes& file, std::size_t at, std::uint16_t value) {
  file[at] = static_cast<std::uint8_t>(value);
  file[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

Paragraphs Read(const Bytes& file) {
  auto read = ReadPwiParagraphs(file);
  EXPECT_TRUE(read.has_value());
  return read.value_or(Paragraphs{u"<not a note file>"});
}

// A paragraph record of the coded text `coded` (no terminator added).
Bytes ParagraphRecord(std::uint16_t id, const Bytes& coded) {
  Bytes payload(24, 0);
  payload.insert(payload.end(), coded.begin(), coded.end());
  payload.push_back(0);
  while (payload.size() % 4 != 0) payload.push_back(0);
  Bytes record = {0x41,
                  0x00,
                  static_cast<std::uint8_t>(id),
                  0x00,
                  static_cast<std::uint8_t>(payload.size() / 4),
                  0x00};
  record.insert(record.end(), payload.begin(), payload.end());
  return record;
}

// A file of the header, the given records and the end record.
Bytes FileOf(const std::vector<Bytes>& records) {
  Bytes file = {0x7B, 0x5C, 0x70, 0x77, 0x69, 0x15, 0x00,
                0x00, 0x01, 0x01, 0x06, 0x00, 0x00, 0x00};
  for (const Bytes& record : records) {
    file.insert(file.end(), record.begin(), record.end());
  }
  file.insert(file.end(), {0x82, 0x00, 0x09, 0x00, 0x03, 0x00, 0x82, 0x00, 0, 0,
                           0, 0, 0, 0, 0, 0, 0, 0});
  return file;
}

TEST(PwiReaderTest, WrittenFilesReadBack) {
  EXPECT_EQ(Read(WritePwi(kHelloWorld)), kHelloWorld);
  EXPECT_EQ(Read(WritePwi({u""})), Paragraphs({u""}));
  EXPECT_EQ(Read(WritePwi({u"a\tb", u"caf\u00e9"})),
            Paragraphs({u"a\tb", u"caf\u00e9"}));
  Paragraphs wrapped = {u"The quick brown fox jumps over the lazy dog",
                        u"second"};
  EXPECT_EQ(Read(WritePwi(wrapped)), wrapped);
}

TEST(PwiReaderTest, UnknownRecordBeforeTheParagraphsIsSkipped) {
  Bytes file = WritePwi(kHelloWorld);
  // Something of type 0x99 with three words, as ink or a drawing might be.
  Bytes ink = {0x99, 0x00, 0x30, 0x00, 0x03, 0x00, 0xC4, 0x00, 0x41,
               0x00, 0xFF, 0xFF, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
  file.insert(file.begin() + kFirstParagraph, ink.begin(), ink.end());
  EXPECT_EQ(Read(file), kHelloWorld);
}

TEST(PwiReaderTest, ByteCountedObjectDataIsSkippedByItsLength) {
  Bytes file = WritePwi(kHelloWorld);
  // Type 0x55, id 1 (the high half of the length), length 3: 65539 bytes.
  Bytes sound = {0x55, 0x00, 0x01, 0x00, 0x03, 0x00};
  sound.insert(sound.end(), 65539, 0x41);
  file.insert(file.begin() + kSecondParagraph, sound.begin(), sound.end());
  EXPECT_EQ(Read(file), kHelloWorld);
}

TEST(PwiReaderTest, InlineCodesAreSkippedWithTheirArguments) {
  Bytes coded = {0xE5, 0xC4, 0x00, 'H',  0xEF, 0x01, 0x02, 0x03, 'e',  0xF1,
                 1,    2,    3,    4,    5,    6,    7,    0xC4, 0x1B, 0,
                 0,    0,    0,    0,    0,    'l',  0xC5, 0x10, 0x00, 0xC2,
                 0x00, 0x00, 0xE7, 0x04, 0x00, 'l',  0xE8, 0x07, 0x00, 'o',
                 0xE8, 0x04, 0x00, 0xE9, 0x01, 0xEA, 0x00, 0xD0, 0xC4, 0x00};
  EXPECT_EQ(Read(FileOf({ParagraphRecord(0x23, coded)})),
            Paragraphs({u"Hello"}));
}

TEST(PwiReaderTest, TwoByteFormGivesOneCharacter) {
  Bytes coded = {'I', 0x99, 0x80, 'm', 0xC4, 0x00};
  EXPECT_EQ(Read(FileOf({ParagraphRecord(0x23, coded)})),
            Paragraphs({u"I\u2019m"}));
}

TEST(PwiReaderTest, WesternCodesAreWindows1252) {
  Bytes coded = {0xC1, 0x80, 0xC1, 0xE9, 0xC1, 0x81, 0xC4, 0x00};
  EXPECT_EQ(Read(FileOf({ParagraphRecord(0x23, coded)})),
            Paragraphs({u"\u20ac\u00e9\ufffd"}));
}

TEST(PwiReaderTest, MissingTerminatorEndsAtThePayload) {
  Bytes coded = {'H', 'i'};
  EXPECT_EQ(Read(FileOf({ParagraphRecord(0x23, coded)})), Paragraphs({u"Hi"}));
}

TEST(PwiReaderTest, ParagraphListOrdersDistinctIds) {
  Bytes list = {0x40, 0x00, 0x08, 0x00, 0x0A, 0x00};
  list.resize(list.size() + 24, 0);
  list.insert(list.end(),
              {1, 0, 6, 0, 0x25, 0, 0, 0, 1, 0, 6, 0, 0x23, 0, 0, 0});
  Bytes file = FileOf({list, ParagraphRecord(0x23, {'o', 'n', 'e'}),
                       ParagraphRecord(0x25, {'t', 'w', 'o'})});
  EXPECT_EQ(Read(file), Paragraphs({u"two", u"one"}));
  // With one id twice the list cannot be trusted: file order.
  Bytes same = FileOf({list, ParagraphRecord(0x23, {'o', 'n', 'e'}),
                       ParagraphRecord(0x23, {'t', 'w', 'o'})});
  EXPECT_EQ(Read(same), Paragraphs({u"one", u"two"}));
}

TEST(PwiReaderTest, InkOnlyNoteHasNoText) {
  Bytes ink = {0x90, 0x00, 0x31, 0x00, 0x01, 0x00, 0x41, 0x00, 0xFF, 0xFF};
  EXPECT_EQ(Read(FileOf({ink})), Paragraphs());
}

TEST(PwiReaderTest, EveryTruncationGivesAPrefix) {
  Bytes file = WritePwi(kHelloWorld);
  for (std::size_t size = 0; size < file.size(); ++size) {
    auto read = ReadPwiParagraphs(std::span(file.data(), size));
    if (size < 14) {
      EXPECT_FALSE(read.has_value()) << size;
      continue;
    }
    ASSERT_TRUE(read.has_value()) << size;
    ASSERT_LE(read->size(), 2U) << size;
    for (std::size_t i = 0; i < read->size(); ++i) {
      EXPECT_EQ((*read)[i], kHelloWorld[i]) << size;
    }
  }
}

TEST(PwiReaderTest, LyingLengthsStopTheWalkCleanly) {
  Bytes file = WritePwi(kHelloWorld);
  Bytes lengths = file;
  Put16(lengths, kSecondParagraph + 4, 0xFFFF);
  EXPECT_EQ(Read(lengths), Paragraphs({u"Hello"}));
  Bytes coded = file;
  Put16(coded, kFirstParagraph + 6 + 2, 0xFFFF);  // F
  EXPECT_EQ(Read(coded), kHelloWorld);
  Bytes counts = file;
  Put16(counts, 0x17E, 0xFFFF);
  Put16(counts, 0x182, 0xFFFF);
  EXPECT_EQ(Read(counts), kHelloWorld);
}

TEST(PwiReaderTest, OtherFilesAreRejected) {
  Bytes rtf = {'{', '\\', 'r', 't', 'f', '1', ' ', 'x', '}', 0, 0, 0, 0, 0, 0};
  EXPECT_FALSE(ReadPwiParagraphs(rtf).has_value());
  EXPECT_FALSE(ReadPwiParagraphs(Bytes()).has_value());
  Bytes short13 = WritePwi(kHelloWorld);
  short13.resize(13);
  EXPECT_FALSE(ReadPwiParagraphs(short13).has_value());
}

}  // namespace
}  // namespace device
