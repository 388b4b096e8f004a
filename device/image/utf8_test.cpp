#include "device/image/utf8.h"

#include <gtest/gtest.h>

namespace device {
namespace {

TEST(Utf8Test, UnpairedSurrogatesKeepTheirFormInTheImage) {
  std::u16string text = u"a";
  text.push_back(static_cast<char16_t>(0xDC00));
  text += u"\U0001F600";
  std::string utf8 = Utf16ToUtf8(text);
  EXPECT_EQ(utf8, "a\xED\xB0\x80\xF0\x9F\x98\x80");
  EXPECT_EQ(Utf8ToUtf16(utf8), text);
}

TEST(Utf8Test, ValidUtf8ReplacesUnpairedSurrogates) {
  std::u16string text;
  text.push_back(static_cast<char16_t>(0xDC00));  // low without high
  text += u"\u00e9\U0001F600";
  text.push_back(static_cast<char16_t>(0xD83D));  // high, then no low
  text += u"x";
  text.push_back(static_cast<char16_t>(0xD800));  // high at the end
  EXPECT_EQ(Utf16ToValidUtf8(text),
            "\xEF\xBF\xBD\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBDx\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToValidUtf8(u"plain"), "plain");
}

}  // namespace
}  // namespace device
