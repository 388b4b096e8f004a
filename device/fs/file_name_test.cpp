#include "device/fs/file_name.h"

#include <gtest/gtest.h>

namespace device {
namespace {

TEST(FileNameTest, WildcardsMatchWithoutRegardToCase) {
  EXPECT_TRUE(MatchFileName(u"*.pwi", u"Note1.PWI"));
  EXPECT_TRUE(MatchFileName(u"NOTE?.pwi", u"note7.pwi"));
  EXPECT_FALSE(MatchFileName(u"note?.pwi", u"note17.pwi"));
  EXPECT_TRUE(MatchFileName(u"*", u"anything"));
  EXPECT_TRUE(MatchFileName(u"a*b*c", u"aXXbYYc"));
  EXPECT_FALSE(MatchFileName(u"a*b*c", u"aXXbYY"));
  EXPECT_FALSE(MatchFileName(u"*.txt", u"a.txt.bak"));
  EXPECT_TRUE(MatchFileName(u"*.txt", u"a.b.txt"));
}

TEST(FileNameTest, StarDotStarMatchesNamesWithoutADot) {
  EXPECT_TRUE(MatchFileName(u"*.*", u"README"));
  EXPECT_TRUE(MatchFileName(u"*.*", u"a.b"));
  EXPECT_TRUE(MatchFileName(u"read*.*", u"ReadMe"));
  EXPECT_FALSE(MatchFileName(u"x*.*", u"ReadMe"));
}

TEST(FileNameTest, FoldsBeyondAscii) {
  EXPECT_EQ(FoldFileName(u"\u00e9t\u00e9"), u"\u00c9T\u00c9");
  EXPECT_EQ(FoldFileName(u"\u0444\u0430\u0439\u043b"),
            u"\u0424\u0410\u0419\u041b");
  EXPECT_TRUE(MatchFileName(u"\u00c9*", u"\u00e9cole.txt"));
}

TEST(FileNameTest, Utf8RoundTripsAndRefusesLoneSurrogates) {
  const std::u16string name = u"Notes \u00e9\u4e2d\U0001F600.pwi";
  auto utf8 = FileNameToUtf8(name);
  ASSERT_TRUE(utf8.has_value());
  EXPECT_EQ(FileNameFromUtf8(*utf8), name);
  EXPECT_FALSE(FileNameToUtf8(std::u16string(1, char16_t{0xD800})));
  EXPECT_FALSE(FileNameToUtf8(std::u16string(1, char16_t{0xDC00})));
  EXPECT_EQ(FileNameFromUtf8("a\xff"), u"a\uFFFD");
  EXPECT_EQ(FileNameFromUtf8("a\xe4\xb8"), u"a\uFFFD");
}

}  // namespace
}  // namespace device
