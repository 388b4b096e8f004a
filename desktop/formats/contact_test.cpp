#include "desktop/formats/contact.h"

#include <gtest/gtest.h>

#include "desktop/formats/contact_json.h"
#include "desktop/wire/reply_reader.h"

namespace desktop {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ContactTest, EncodeIsByteExact) {
  Contact contact;
  contact.SetText(33, u"Li");
  contact.SetTime(2, TimeRecord::FromDate(1990, 1, 2));  // a Tuesday
  Bytes expected = {
      2,    0,    0, 0,                                          // field count
      2,    0,    0, 0,                                          // Birthday
      0xC6, 0x07, 1, 0, 2,   0, 2,   0, 0, 0, 0, 0, 0, 0, 0, 0,  // 1990-01-02
      33,   0,    0, 0,                                          // LastName
      6,    0,    0, 0, 'L', 0, 'i', 0, 0, 0,
  };
  EXPECT_EQ(contact.Encode(), expected);
}

TEST(ContactTest, ReplaceAllSendsEveryFieldButNamesAndFileAs) {
  Contact contact;
  contact.SetText(4, u"Acme");
  Bytes record = contact.Encode(true);
  ReplyReader reader(record);
  EXPECT_EQ(*reader.U32("count"), 47u);  // 50 less FileAs, first, last
  std::vector<std::uint32_t> ids;
  while (!reader.AtEnd()) {
    std::uint32_t id = *reader.U32("id");
    ids.push_back(id);
    if (Contact::IsTimeField(id)) {
      EXPECT_TRUE(reader.Time("t")->IsNoDate());
    } else {
      Result<std::u16string> text = reader.String("s");
      ASSERT_TRUE(text.ok());
      EXPECT_EQ(*text, id == 4 ? u"Acme" : u"");
    }
  }
  EXPECT_EQ(ids.size(), 47u);
  for (std::uint32_t absent : {26u, 31u, 33u}) {
    EXPECT_EQ(std::count(ids.begin(), ids.end(), absent), 0);
  }
}

TEST(ContactTest, FromWireRecordDropsEmptyAndNoDate) {
  WireRecord record;
  record.oid = 77;
  record.properties.push_back(
      {1, TimeRecord::FromDate(TimeRecord::kNoDateYear, 1, 1)});
  record.properties.push_back({2, TimeRecord::FromDate(1980, 5, 17)});
  record.properties.push_back({3, std::u16string()});
  record.properties.push_back({31, std::u16string(u"Ελένη")});
  record.properties.push_back({26, std::u16string(u"ignored")});
  Result<Contact> contact = Contact::FromWireRecord(record);
  ASSERT_TRUE(contact.ok());
  EXPECT_EQ(contact->oid, 77u);
  EXPECT_FALSE(contact->Has(1));
  EXPECT_FALSE(contact->Has(3));
  EXPECT_FALSE(contact->Has(26));
  EXPECT_EQ(contact->Time(2)->ToIso(), "1980-05-17");
  EXPECT_EQ(contact->Text(31), u"Ελένη");
}

TEST(ContactTest, FromWireRecordRejectsWrongKinds) {
  WireRecord record;
  record.properties.push_back({1, std::u16string(u"x")});
  EXPECT_FALSE(Contact::FromWireRecord(record).ok());
  record.properties = {{5, TimeRecord::FromDate(2000, 1, 1)}};
  EXPECT_FALSE(Contact::FromWireRecord(record).ok());
}

TEST(ContactTest, WireRoundTrip) {
  // Encode a contact, rebuild the record as the handheld would send it, and
  // decode it back.
  Contact contact;
  contact.SetText(31, u"José");
  contact.SetText(33, u"Núñez");
  contact.SetText(50, std::u16string(5000, u'n'));
  contact.SetTime(1, TimeRecord::FromDate(2011, 6, 30));
  Bytes record = contact.Encode();
  ReplyReader reader(record);
  std::uint32_t count = *reader.U32("count");
  Bytes reply = {1, 0, 9, 0, 0, 0, static_cast<std::uint8_t>(count)};
  reply.insert(reply.end(), record.begin() + 4, record.end());
  ReplyReader record_reader(reply);
  Result<WireRecord> wire =
      WireRecord::Read(record_reader, Contact::PropertyKindOf);
  ASSERT_TRUE(wire.ok()) << wire.status().message();
  Result<Contact> back = Contact::FromWireRecord(*wire);
  ASSERT_TRUE(back.ok());
  contact.oid = 9;
  EXPECT_EQ(*back, contact);
}

TEST(ContactTest, FieldNames) {
  EXPECT_EQ(Contact::FieldName(31), "FirstName");
  EXPECT_EQ(Contact::FieldName(0), "");
  EXPECT_EQ(Contact::FieldName(51), "");
  EXPECT_EQ(*Contact::FieldId("email1address"), 6u);
  EXPECT_FALSE(Contact::FieldId("Nickname").has_value());
}

TEST(ContactJsonTest, RoundTrip) {
  Contact contact;
  contact.oid = 123;
  contact.SetText(4, u"東京商事");
  contact.SetText(50, u"line one\r\nline \"two\"\ttab");
  contact.SetTime(2, TimeRecord::FromDate(1975, 12, 31));
  TimeRecord with_time = TimeRecord::FromDate(2001, 9, 8);
  with_time.hour = 18;
  with_time.minute = 30;
  contact.SetTime(1, with_time);
  Json json = ContactJson::ToJson(contact);
  EXPECT_EQ(json.at("Birthday"), "1975-12-31");
  EXPECT_EQ(json.at("Anniversary"), "2001-09-08T18:30:00");
  EXPECT_EQ(json.at("oid"), 123);
  EXPECT_EQ(json.begin().key(), "oid");
  Result<std::vector<Contact>> back =
      ContactJson::ParseDocument(JsonText::Write(json));
  ASSERT_TRUE(back.ok()) << back.status().message();
  ASSERT_EQ(back->size(), 1u);
  EXPECT_EQ(back->front(), contact);
}

TEST(ContactJsonTest, ErrorsNameTheMember) {
  auto unknown = ContactJson::ParseDocument(R"({"Frstname": "x"})");
  ASSERT_FALSE(unknown.ok());
  EXPECT_NE(unknown.status().message().find("Frstname"), std::string::npos);
  auto bad_date = ContactJson::ParseDocument(R"([{"Birthday": "1990-02-30"}])");
  ASSERT_FALSE(bad_date.ok());
  EXPECT_NE(bad_date.status().message().find("Birthday"), std::string::npos);
  EXPECT_FALSE(ContactJson::ParseDocument(R"({"LastName": 5})").ok());
  EXPECT_FALSE(ContactJson::ParseDocument(R"({"oid": -1})").ok());
  EXPECT_FALSE(ContactJson::ParseDocument("7").ok());
  EXPECT_FALSE(ContactJson::ParseDocument(R"({"oid": 1.5})").ok());
}

TEST(ContactJsonTest, BadJsonNamesLineAndColumn) {
  auto contacts = ContactJson::ParseDocument(
      "[\n  {\"FirstName\": \"Ann\"},\n  {\"LastName\" \"Lee\"}\n]");
  ASSERT_FALSE(contacts.ok());
  EXPECT_NE(contacts.status().message().find("at line 3, column 19"),
            std::string::npos)
      << contacts.status().message();
}

TEST(ContactJsonTest, WholeNumberOidsAreAccepted) {
  auto contacts =
      ContactJson::ParseDocument(R"({"oid": 7.0, "FirstName": "A"})");
  ASSERT_TRUE(contacts.ok()) << contacts.status().message();
  EXPECT_EQ(contacts->front().oid, 7u);
}

TEST(ContactJsonTest, NullAndEmptyLeaveFieldsUnset) {
  auto contacts = ContactJson::ParseDocument(
      R"({"firstname": "", "LastName": null, "Birthday": ""})");
  ASSERT_TRUE(contacts.ok());
  EXPECT_TRUE(contacts->front().empty());
}

}  // namespace
}  // namespace desktop
