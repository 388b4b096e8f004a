#include "desktop/formats/json_value.h"

#include <gtest/gtest.h>

namespace desktop {
namespace {

TEST(JsonValueTest, ParsesAndWritesBack) {
  const char* text =
      R"({"a": [1, -2.5, true, false, null], "b": "x\"y\\z\n", "c": {}})";
  Result<JsonValue> value = JsonValue::Parse(text);
  ASSERT_TRUE(value.ok()) << value.status().message();
  EXPECT_EQ(value->Find("a")->as_array().size(), 5u);
  EXPECT_EQ(value->Find("a")->as_array()[1].as_number(), -2.5);
  EXPECT_EQ(value->Find("b")->as_string(), "x\"y\\z\n");
  EXPECT_EQ(value->Serialize(0),
            R"({"a":[1,-2.5,true,false,null],"b":"x\"y\\z\n","c":{}})");
  EXPECT_EQ(*JsonValue::Parse(value->Serialize()), *value);
}

TEST(JsonValueTest, UnicodeEscapes) {
  Result<JsonValue> value = JsonValue::Parse(R"("\u00e9\ud83d\ude00\u0001")");
  ASSERT_TRUE(value.ok());
  EXPECT_EQ(value->as_string(), "\xC3\xA9\xF0\x9F\x98\x80\x01");
  EXPECT_EQ(value->Serialize(), "\"\xC3\xA9\xF0\x9F\x98\x80\\u0001\"");
}

TEST(JsonValueTest, ErrorsCarryLineAndColumn) {
  Result<JsonValue> value = JsonValue::Parse("{\n  \"a\": tru\n}");
  ASSERT_FALSE(value.ok());
  EXPECT_NE(value.status().message().find("line 2"), std::string::npos);
  for (const char* bad : {"", "[1,]", "{\"a\" 1}", "\"abc", "01x", "[1] 2",
                          "{\"a\":1,}", "\"\\q\"", "\"a\nb\""}) {
    EXPECT_FALSE(JsonValue::Parse(bad).ok()) << bad;
  }
}

TEST(JsonValueTest, DeepNestingIsRefused) {
  std::string deep(1000, '[');
  EXPECT_FALSE(JsonValue::Parse(deep).ok());
}

TEST(JsonValueTest, SetReplacesMembers) {
  JsonValue object = JsonValue::MakeObject();
  object.Set("k", JsonValue(1));
  object.Set("k", JsonValue("v"));
  EXPECT_EQ(object.as_object().size(), 1u);
  EXPECT_EQ(object.Find("k")->as_string(), "v");
  EXPECT_EQ(object.Find("missing"), nullptr);
}

}  // namespace
}  // namespace desktop
