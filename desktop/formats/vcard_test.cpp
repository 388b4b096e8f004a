#include "desktop/formats/vcard.h"

#include <gtest/gtest.h>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

TEST(VCardTest, EscapesText) {
  EXPECT_EQ(VCard::EscapeText("a,b;c\\d\r\ne\nf"), "a\\,b\\;c\\\\d\\ne\\nf");
  EXPECT_EQ(VCard::UnescapeText("a\\,b\\;c\\\\d\\ne\\Nf"), "a,b;c\\d\ne\nf");
}

TEST(VCardTest, FoldsAtSeventyFiveOctets) {
  std::string line(160, 'x');
  std::string folded = VCard::FoldLine(line);
  std::vector<std::string> physical;
  std::size_t at = 0;
  while (at < folded.size()) {
    std::size_t end = folded.find("\r\n", at);
    ASSERT_NE(end, std::string::npos);
    physical.push_back(folded.substr(at, end - at));
    at = end + 2;
  }
  ASSERT_EQ(physical.size(), 3u);
  EXPECT_EQ(physical[0].size(), 75u);
  EXPECT_EQ(physical[1].size(), 75u);
  EXPECT_EQ(physical[1][0], ' ');
  EXPECT_EQ(VCard::Unfold(folded), line + "\r\n");
}

TEST(VCardTest, FoldingNeverSplitsUtf8) {
  // 74 ASCII bytes, then a three-byte character across the limit.
  std::string line = std::string(74, 'a') + "\xE4\xB8\xAD" + "b";
  std::string folded = VCard::FoldLine(line);
  EXPECT_EQ(folded.substr(0, 76), std::string(74, 'a') + "\r\n");
  EXPECT_EQ(folded.substr(76),
            " \xE4\xB8\xAD"
            "b\r\n");
  // Every physical line is at most 75 octets for long non-Latin text.
  std::string greek;
  for (int i = 0; i < 100; ++i) greek += "\xCE\xB1";
  std::string many = VCard::FoldLine("NOTE:" + greek);
  std::size_t at = 0;
  while (at < many.size()) {
    std::size_t end = many.find("\r\n", at);
    EXPECT_LE(end - at, 75u);
    EXPECT_TRUE(Utf8ToUtf16(many.substr(at, end - at)).find(u'\uFFFD') ==
                std::u16string::npos);
    at = end + 2;
  }
  EXPECT_EQ(VCard::Unfold(many), "NOTE:" + greek + "\r\n");
}

Contact FullContact() {
  Contact c;
  c.oid = 4242;
  c.SetText(30, u"Dr.");
  c.SetText(31, u"Anna");
  c.SetText(32, u"Maria");
  c.SetText(33, u"O'Neil; Smith");
  c.SetText(34, u"PhD");
  c.SetText(4, u"Widgets, Inc.");
  c.SetText(5, u"R&D");
  c.SetText(11, u"Chief Tinkerer");
  c.SetText(10, u"+1 555 0100");
  c.SetText(24, u"+1 555 0101");
  c.SetText(12, u"+1 555 0102");
  c.SetText(16, u"+1 555 0103");
  c.SetText(7, u"+1 555 0104");
  c.SetText(9, u"+1 555 0105");
  c.SetText(3, u"+1 555 0106");
  c.SetText(17, u"+1 555 0107");
  c.SetText(18, u"+1 555 0108");
  c.SetText(20, u"+1 555 0109");
  c.SetText(25, u"+1 555 0110");
  c.SetText(6, u"anna@example.com");
  c.SetText(13, u"a.smith@example.org");
  c.SetText(15, u"anna@example.net");
  c.SetText(35, u"12 Elm St\r\nApt 4");
  c.SetText(36, u"Springfield");
  c.SetText(37, u"IL");
  c.SetText(38, u"62701");
  c.SetText(39, u"USA");
  c.SetText(46, u"Chicago");
  c.SetText(42, u"Ontario");
  c.SetText(22, u"Friends, Work");
  c.SetText(23, u"https://example.com/anna");
  c.SetText(50, u"Met at the fair.\r\nLikes tea, not coffee; \\ backslash.");
  c.SetText(14, u"Bob");
  c.SetText(21, u"Tim, Tom");
  c.SetText(19, u"Carla");
  c.SetText(8, u"B-204");
  c.SetText(26, u"Smith, Anna");
  c.SetText(27, u"ウィジェット");
  c.SetText(28, u"アンナ");
  c.SetText(29, u"スミス");
  c.SetTime(2, TimeRecord::FromDate(1980, 2, 29));
  c.SetTime(1, TimeRecord::FromDate(2005, 6, 18));
  return c;
}

TEST(VCardTest, RoundTripsEveryField) {
  Contact contact = FullContact();
  std::string card = VCard::Write(contact);
  Result<std::vector<Contact>> back = VCard::Parse(card);
  ASSERT_TRUE(back.ok()) << back.status().message();
  ASSERT_EQ(back->size(), 1u);
  EXPECT_EQ(back->front(), contact) << card;
}

TEST(VCardTest, WritesStandardProperties) {
  std::string card = VCard::Write(FullContact());
  EXPECT_EQ(card.substr(0, 26), "BEGIN:VCARD\r\nVERSION:4.0\r\n");
  EXPECT_NE(card.find("\r\nFN:Dr. Anna Maria O'Neil\\; Smith PhD\r\n"),
            std::string::npos);
  EXPECT_NE(card.find("\r\nN:O'Neil\\; Smith;Anna;Maria;Dr.;PhD\r\n"),
            std::string::npos);
  EXPECT_NE(card.find("\r\nORG:Widgets\\, Inc.;R&D\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nTEL;TYPE=cell:+1 555 0104\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nBDAY:19800229\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nCATEGORIES:Friends,Work\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nX-VORN-SPOUSE:Bob\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nX-VORN-OID:4242\r\n"), std::string::npos);
  EXPECT_EQ(card.substr(card.size() - 11), "END:VCARD\r\n");
  // Every physical line fits.
  std::size_t at = 0;
  while (at < card.size()) {
    std::size_t end = card.find("\r\n", at);
    ASSERT_NE(end, std::string::npos);
    EXPECT_LE(end - at, 75u);
    at = end + 2;
  }
}

TEST(VCardTest, RoundTripsLongNonLatinNotes) {
  Contact contact;
  contact.SetText(31, u"Νίκος");
  contact.SetText(33, u"Παπαδόπουλος");
  std::u16string notes;
  for (int i = 0; i < 600; ++i) notes += u"Заметка 笔记 ملاحظة, ";
  contact.SetText(50, notes);
  Result<std::vector<Contact>> back = VCard::Parse(VCard::Write(contact));
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back->front(), contact);
}

TEST(VCardTest, ReadsCardsFromElsewhere) {
  const char* text =
      "BEGIN:VCARD\n"
      "VERSION:3.0\n"
      "FN:Jane Q. Public\n"
      "item1.EMAIL;TYPE=INTERNET:jane@example.com\n"
      "TEL;TYPE=HOME:111\n"
      "TEL;TYPE=\"work,voice\":222\n"
      "TEL:333\n"
      "BDAY:1970-01-02\n"
      "ADR;TYPE=WORK:;Suite 9;1 Main St;Town;;99999;\n"
      "NOTE:multi\\nline\n"
      " folded\n"
      "PHOTO;ENCODING=b:AAAA\n"
      "END:VCARD\n"
      "BEGIN:VCARD\r\nFN:Solo\r\nORG:Only Company\r\nEND:VCARD\r\n";
  Result<std::vector<Contact>> cards = VCard::Parse(text);
  ASSERT_TRUE(cards.ok()) << cards.status().message();
  ASSERT_EQ(cards->size(), 2u);
  const Contact& jane = (*cards)[0];
  EXPECT_EQ(jane.Text(31), u"Jane Q.");
  EXPECT_EQ(jane.Text(33), u"Public");
  EXPECT_EQ(jane.Text(6), u"jane@example.com");
  EXPECT_EQ(jane.Text(12), u"111");
  EXPECT_EQ(jane.Text(10), u"222");
  EXPECT_EQ(jane.Text(16), u"333");  // untyped: first free number
  EXPECT_EQ(jane.Time(2)->ToIso(), "1970-01-02");
  EXPECT_EQ(jane.Text(45), u"1 Main St\r\nSuite 9");
  EXPECT_EQ(jane.Text(46), u"Town");
  EXPECT_EQ(jane.Text(50), u"multi\r\nlinefolded");
  const Contact& solo = (*cards)[1];
  EXPECT_EQ(solo.Text(4), u"Only Company");
  EXPECT_FALSE(solo.Has(33));
}

TEST(VCardTest, PrefDecidesTheSlot) {
  const char* text =
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:x\r\n"
      "EMAIL;PREF=3:three@x\r\nEMAIL:any@x\r\nEMAIL;PREF=1:one@x\r\n"
      "TEL;TYPE=home;PREF=2:h2\r\n"
      "END:VCARD\r\n";
  Result<std::vector<Contact>> cards = VCard::Parse(text);
  ASSERT_TRUE(cards.ok());
  const Contact& c = cards->front();
  EXPECT_EQ(c.Text(6), u"one@x");
  EXPECT_EQ(c.Text(13), u"any@x");
  EXPECT_EQ(c.Text(15), u"three@x");
  EXPECT_EQ(c.Text(16), u"h2");
  EXPECT_FALSE(c.Has(12));
}

TEST(VCardTest, RejectsBrokenText) {
  EXPECT_FALSE(VCard::Parse("hello world").ok());
  EXPECT_FALSE(VCard::Parse("BEGIN:VCARD\r\nFN:x\r\n").ok());
  EXPECT_FALSE(VCard::Parse("FN:x\r\n").ok());
  EXPECT_TRUE(VCard::Parse("")->empty());
}

}  // namespace
}  // namespace desktop
