#include "desktop/formats/json_text.h"

#include <gtest/gtest.h>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

TEST(JsonTextTest, ParsesAndWritesBack) {
  const char* text =
      R"({"a": [1, -2.5, true, false, null], "b": "x\"y\\z\n", "c": {}})";
  Result<Json> value = JsonText::Parse(text);
  ASSERT_TRUE(value.ok()) << value.status().message();
  EXPECT_EQ(value->at("a").size(), 5u);
  EXPECT_EQ(value->at("a")[1].get<double>(), -2.5);
  EXPECT_EQ(value->at("b").get<std::string>(), "x\"y\\z\n");
  EXPECT_EQ(JsonText::Write(*value, 0),
            R"({"a":[1,-2.5,true,false,null],"b":"x\"y\\z\n","c":{}})");
  EXPECT_EQ(*JsonText::Parse(JsonText::Write(*value)), *value);
}

TEST(JsonTextTest, KeepsMembersInTheirOrder) {
  Json object = Json::object();
  object["z"] = 1;
  object["a"] = "v";
  object["m"] = Json::array();
  EXPECT_EQ(JsonText::Write(object),
            "{\n  \"z\": 1,\n  \"a\": \"v\",\n  \"m\": []\n}");
  object["z"] = 2;  // replaces in place
  EXPECT_EQ(JsonText::Write(object, 0), R"({"z":2,"a":"v","m":[]})");
  Result<Json> read = JsonText::Parse(R"({"b": 1, "a": 2})");
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(read->begin().key(), "b");
}

TEST(JsonTextTest, UnicodeEscapes) {
  Result<Json> value = JsonText::Parse(R"("\u00e9\ud83d\ude00\u0001")");
  ASSERT_TRUE(value.ok());
  EXPECT_EQ(value->get<std::string>(), "\xC3\xA9\xF0\x9F\x98\x80\x01");
  EXPECT_EQ(JsonText::Write(*value), "\"\xC3\xA9\xF0\x9F\x98\x80\\u0001\"");
}

TEST(JsonTextTest, ErrorsCarryLineAndColumn) {
  // The place is the last byte read: the 2, and the line break after tru.
  Result<Json> value = JsonText::Parse("{\n  \"a\": 1,\n  \"b\" 2\n}");
  ASSERT_FALSE(value.ok());
  const std::string& message = value.status().message();
  EXPECT_EQ(message,
            "JSON: parse error at line 3, column 7: syntax error while "
            "parsing object separator - unexpected number literal; "
            "expected ':'");
  Result<Json> word = JsonText::Parse("{\n  \"a\": tru\n}");
  ASSERT_FALSE(word.ok());
  EXPECT_EQ(word.status().message().rfind(
                "JSON: parse error at line 2, column 11: ", 0),
            0u)
      << word.status().message();
  EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  for (const char* bad : {"", "[1,]", "{\"a\" 1}", "\"abc", "01x", "[1] 2",
                          "{\"a\":1,}", "\"\\q\"", "\"a\nb\""}) {
    Result<Json> parsed = JsonText::Parse(bad);
    ASSERT_FALSE(parsed.ok()) << bad;
    EXPECT_NE(parsed.status().message().find("at line "), std::string::npos)
        << parsed.status().message();
    EXPECT_NE(parsed.status().message().find(", column "), std::string::npos)
        << parsed.status().message();
    EXPECT_EQ(parsed.status().message().find('\n'), std::string::npos)
        << parsed.status().message();
  }
}

TEST(JsonTextTest, ColumnCountsFromTheLineStart) {
  Result<Json> value = JsonText::Parse("[1,\n2,\n  x]");
  ASSERT_FALSE(value.ok());
  EXPECT_NE(value.status().message().find("at line 3, column 3"),
            std::string::npos)
      << value.status().message();
}

TEST(JsonTextTest, ErrorAtTheEndNamesTheLastLine) {
  Result<Json> value = JsonText::Parse("[\"a\",\n \"b");
  ASSERT_FALSE(value.ok());
  EXPECT_NE(value.status().message().find("at line 2, column 4: "),
            std::string::npos)
      << value.status().message();
  Result<Json> empty = JsonText::Parse("");
  ASSERT_FALSE(empty.ok());
  EXPECT_NE(empty.status().message().find("at line 1, column 1: "),
            std::string::npos)
      << empty.status().message();
}

TEST(JsonTextTest, NumberTooLargeIsOneLineError) {
  Result<Json> value = JsonText::Parse("{\"oid\": 1e999}");
  ASSERT_FALSE(value.ok());
  EXPECT_EQ(value.status().message(), "JSON: number overflow parsing '1e999'");
}

TEST(JsonTextTest, UnclosedDeepNestingFails) {
  std::string deep(100000, '[');
  EXPECT_FALSE(JsonText::Parse(deep).ok());
}

TEST(JsonTextTest, ByteOrderMarkIsSkipped) {
  Result<Json> value = JsonText::Parse("\xEF\xBB\xBF{\"a\": 1}");
  ASSERT_TRUE(value.ok()) << value.status().message();
  EXPECT_EQ(value->at("a").get<int>(), 1);
}

TEST(JsonTextTest, OutputIsUtf8WithLoneSurrogatesReplaced) {
  // Handheld text with an unpaired high surrogate between Greek letters.
  std::u16string handheld = u"\u039b\u03bf";
  handheld.push_back(static_cast<char16_t>(0xD800));
  handheld += u"x\U0001F600";
  Json value = Utf16ToUtf8(handheld);
  EXPECT_EQ(JsonText::Write(value),
            "\"\xCE\x9B\xCE\xBF\xEF\xBF\xBDx\xF0\x9F\x98\x80\"");
  // Bytes that are not UTF-8 at all (a path from the command line) become
  // U+FFFD instead of failing the write.
  Json bytes = std::string("a\xFF") + "b";
  EXPECT_EQ(JsonText::Write(bytes),
            "\"a\xEF\xBF\xBD"
            "b\"");
  Result<Json> back = JsonText::Parse(JsonText::Write(bytes));
  ASSERT_TRUE(back.ok()) << back.status().message();
}

TEST(JsonTextTest, InvalidUtf8InputIsAnError) {
  Result<Json> value = JsonText::Parse("[\"a\xC3\"]");
  ASSERT_FALSE(value.ok());
  EXPECT_NE(value.status().message().find("at line 1, column "),
            std::string::npos)
      << value.status().message();
}

}  // namespace
}  // namespace desktop
