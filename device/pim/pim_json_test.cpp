#include "device/pim/pim_json.h"

#include <gtest/gtest.h>

#include <cstring>

#include "device/image/utf8.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;

TEST(PimJsonTest, ParsesMembersInOrder) {
  auto parsed = PimJson::ParseObject(
      " {\"FirstName\": \"Ann\",\n\t\"LastName\":\"Lee\" , \"Spouse\": null} ");
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  ASSERT_EQ(parsed->size(), 3u);
  EXPECT_EQ((*parsed)[0].first, "FirstName");
  EXPECT_EQ((*parsed)[0].second, u"Ann");
  EXPECT_EQ((*parsed)[1].first, "LastName");
  EXPECT_EQ((*parsed)[1].second, u"Lee");
  EXPECT_EQ((*parsed)[2].first, "Spouse");
  EXPECT_FALSE((*parsed)[2].second.has_value());
}

TEST(PimJsonTest, EmptyObjectHasNoMembers) {
  auto parsed = PimJson::ParseObject("{}");
  ASSERT_TRUE(parsed.ok());
  EXPECT_TRUE(parsed->empty());
}

TEST(PimJsonTest, DecodesEscapesAndUtf8) {
  auto parsed = PimJson::ParseObject(
      "{\"Body\": \"a\\\"b\\\\c\\/d\\n\\r\\t\\b\\f\\u00e9\\ud83d\\ude00\","
      " \"City\": \"M\xC3\xBCnchen \xE2\x82\xAC \xF0\x9F\x98\x80\"}");
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  EXPECT_EQ((*parsed)[0].second, u"a\"b\\c/d\n\r\t\b\f\u00e9\U0001F600");
  EXPECT_EQ((*parsed)[1].second, u"M\u00fcnchen \u20ac \U0001F600");
}

TEST(PimJsonTest, UnpairedSurrogateEscapeIsRefused) {
  // UTF-8 has no form for it, so it could never reach the handheld intact.
  auto parsed = PimJson::ParseObject("{\"Body\": \"x\\udc00y\"}");
  ASSERT_FALSE(parsed.ok());
  EXPECT_NE(parsed.status().message().find("at line 1, column "),
            std::string::npos)
      << parsed.status().message();
}

TEST(PimJsonTest, RefusesBadInput) {
  for (const char* text : {
           "",
           "[]",
           "\"text\"",
           "{\"A\": 1}",
           "{\"A\": true}",
           "{\"A\": {\"B\": \"c\"}}",
           "{\"A\": [\"b\"]}",
           "{\"A\": \"b\",}",
           "{\"A\" \"b\"}",
           "{\"A\": \"b\"} x",
           "{\"A\": \"b\", \"A\": \"c\"}",
           "{\"A\": \"b",
           "{\"A\": \"b\\q\"}",
           "{\"A\": \"\\u12g4\"}",
           "{\"A\": \"tab\tinside\"}",
           "{\"A\": \"\xC3\"}",
           "{\"A\": \"\xC0\xAF\"}",
           "{\"A\": \"\xED\xA0\x80\"}",
           "{\"A\": \"\xF4\x90\x80\x80\"}",
           "{A: \"b\"}",
       }) {
    auto parsed = PimJson::ParseObject(text);
    EXPECT_FALSE(parsed.ok()) << text;
    if (!parsed.ok()) {
      EXPECT_EQ(parsed.status().message().rfind("JSON: ", 0), 0u) << text;
      EXPECT_EQ(parsed.status().message().find('\n'), std::string::npos);
    }
  }
}

TEST(PimJsonTest, SyntaxErrorNamesLineAndColumn) {
  auto parsed = PimJson::ParseObject(
      "{\n  \"FirstName\": \"Ann\",\n  \"LastName\" \"Lee\"\n}");
  ASSERT_FALSE(parsed.ok());
  const std::string& message = parsed.status().message();
  EXPECT_EQ(message.rfind("JSON: parse error at line 3, column ", 0), 0u)
      << message;
  EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  auto bad_utf8 = PimJson::ParseObject("{\"A\": \"ok\",\n \"B\": \"\xC3(\"}");
  ASSERT_FALSE(bad_utf8.ok());
  EXPECT_NE(bad_utf8.status().message().find("at line 2, column "),
            std::string::npos)
      << bad_utf8.status().message();
}

TEST(PimJsonTest, OtherProblemsNameTheKey) {
  auto number = PimJson::ParseObject("{\"A\": 12}");
  ASSERT_FALSE(number.ok());
  EXPECT_EQ(number.status().message(),
            "JSON: the value of \"A\" must be a string or null");
  auto twice =
      PimJson::ParseObject("{\"A\": \"b\", \"C\": null, \"A\": \"c\"}");
  ASSERT_FALSE(twice.ok());
  EXPECT_EQ(twice.status().message(), "JSON: key \"A\" given twice");
}

TEST(PimJsonTest, ParseKeepsNestedValuesAndTheirOrder) {
  auto parsed =
      PimJson::Parse(R"({"B": 1, "A": {"Z": [true, {"Y": "x"}], "X": null}})");
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  EXPECT_EQ(PimJson::Write(*parsed),
            R"({"B":1,"A":{"Z":[true,{"Y":"x"}],"X":null}})");
}

TEST(PimJsonTest, ParseRefusesAKeyGivenTwiceAtAnyDepth) {
  auto parsed = PimJson::Parse(R"({"A": {"K": 1, "K": 2}})");
  ASSERT_FALSE(parsed.ok());
  EXPECT_EQ(parsed.status().message(), "JSON: key \"K\" given twice");
  // The same key in two objects is fine.
  parsed = PimJson::Parse(R"({"A": [{"K": 1}, {"K": 2}], "K": 3})");
  EXPECT_TRUE(parsed.ok()) << parsed.status().message();
  parsed = PimJson::Parse("[1]");
  ASSERT_FALSE(parsed.ok());
  EXPECT_EQ(parsed.status().message(), "JSON: expected one object");
}

TEST(PimJsonTest, WritesUtf8OnOneLine) {
  std::u16string text = u"\"q\" \\ \n\r\t\u0001 \u00e9 \u20ac \U0001F600 ";
  text.push_back(static_cast<char16_t>(0xD800));
  PimJson::Json object = PimJson::Json::object();
  object["Oid"] = 7;
  object["Body"] = Utf16ToValidUtf8(text);
  std::string written = PimJson::Write(object);
  EXPECT_EQ(written,
            "{\"Oid\":7,\"Body\":\"\\\"q\\\" \\\\ \\n\\r\\t\\u0001 \xC3\xA9 "
            "\xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBD\"}");
  auto parsed = PimJson::ParseObject("{\"Body\": " +
                                     written.substr(written.find(":\"") + 1));
  ASSERT_TRUE(parsed.ok()) << parsed.status().message();
  std::u16string expected = text;
  expected.back() = u'\uFFFD';
  EXPECT_EQ((*parsed)[0].second, expected);
}

TEST(PimJsonTest, WritingBadBytesNeverFails) {
  // Text kept in the image in its three-byte form of a lone surrogate, or
  // any byte that is not UTF-8, is written as U+FFFD.
  PimJson::Json value = std::string("a\xED\xA0\x80z\xFF");
  std::string written = PimJson::Write(value);
  EXPECT_EQ(written.find('\xED'), std::string::npos) << written;
  EXPECT_EQ(written.find('\xFF'), std::string::npos) << written;
  EXPECT_NE(written.find("\xEF\xBF\xBD"), std::string::npos) << written;
  EXPECT_TRUE(written.starts_with("\"a") && written.ends_with("\""));
}

TEST(PimJsonTest, ParsesDatesAndDateTimes) {
  auto date = PimJson::ParseDate(u"1970-05-17");
  ASSERT_TRUE(date.ok());
  SYSTEMTIME expected;
  std::memset(&expected, 0, sizeof(expected));
  expected.wYear = 1970;
  expected.wMonth = 5;
  expected.wDay = 17;
  EXPECT_EQ(std::memcmp(&*date, &expected, sizeof(expected)), 0);

  auto full = PimJson::ParseDate(u"2000-02-29T23:59:58");
  ASSERT_TRUE(full.ok());
  EXPECT_EQ(full->wYear, 2000);
  EXPECT_EQ(full->wMonth, 2);
  EXPECT_EQ(full->wDay, 29);
  EXPECT_EQ(full->wHour, 23);
  EXPECT_EQ(full->wMinute, 59);
  EXPECT_EQ(full->wSecond, 58);
  EXPECT_EQ(full->wDayOfWeek, 0);
  EXPECT_EQ(full->wMilliseconds, 0);
}

TEST(PimJsonTest, RefusesBadDates) {
  for (const char16_t* text :
       {u"", u"1970-5-17", u"1970/05/17", u"1970-13-01", u"1970-00-10",
        u"1970-04-31", u"1900-02-29", u"2001-02-29", u"1970-05-17 10:00:00",
        u"1970-05-17T24:00:00", u"1970-05-17T10:60:00", u"1970-05-17T10:00:60",
        u"1970-05-17T10:00", u"1970-05-17T10:00:00Z", u"+970-05-17"}) {
    EXPECT_FALSE(PimJson::ParseDate(text).ok());
  }
}

TEST(PimJsonTest, FormatsDateAloneAtMidnight) {
  SYSTEMTIME time;
  std::memset(&time, kSentinel, sizeof(time));
  time.wYear = 1999;
  time.wMonth = 12;
  time.wDay = 31;
  time.wHour = 0;
  time.wMinute = 0;
  time.wSecond = 0;
  EXPECT_EQ(PimJson::FormatDate(time), "1999-12-31");
  time.wHour = 7;
  time.wSecond = 5;
  EXPECT_EQ(PimJson::FormatDate(time), "1999-12-31T07:00:05");
}

}  // namespace
}  // namespace device
