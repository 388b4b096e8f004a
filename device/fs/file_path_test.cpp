#include "device/fs/file_path.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/objstore_types.h"

namespace device {
namespace {

std::u16string Canonical(std::u16string_view text,
                         FilePath::Kind kind = FilePath::Kind::kName) {
  FilePath path;
  const DWORD error = FilePath::Parse(text, kind, &path);
  EXPECT_EQ(error, ERROR_SUCCESS) << "for a path of " << text.size();
  return path.ToString();
}

DWORD ParseError(std::u16string_view text,
                 FilePath::Kind kind = FilePath::Kind::kName) {
  FilePath path;
  return FilePath::Parse(text, kind, &path);
}

TEST(FilePathTest, BothSeparatorsAndRelativePathsStartAtTheRoot) {
  EXPECT_EQ(Canonical(u"\\My Documents\\a.pwi"), u"\\My Documents\\a.pwi");
  EXPECT_EQ(Canonical(u"/My Documents/a.pwi"), u"\\My Documents\\a.pwi");
  EXPECT_EQ(Canonical(u"My Documents\\\\a.pwi"), u"\\My Documents\\a.pwi");
  EXPECT_EQ(Canonical(u"\\"), u"\\");
  EXPECT_EQ(Canonical(u"/etc/passwd"), u"\\etc\\passwd");
}

TEST(FilePathTest, DotsResolveLexicallyAndClampAtTheRoot) {
  EXPECT_EQ(Canonical(u"\\a\\.\\b\\..\\c"), u"\\a\\c");
  EXPECT_EQ(Canonical(u"\\..\\..\\..\\etc\\passwd"), u"\\etc\\passwd");
  EXPECT_EQ(Canonical(u"../../x"), u"\\x");
  EXPECT_EQ(Canonical(u"\\a\\..\\.."), u"\\");
}

TEST(FilePathTest, DriveLettersAndReservedCharactersAreInvalidNames) {
  EXPECT_EQ(ParseError(u"C:\\x"), ERROR_INVALID_NAME);
  EXPECT_EQ(ParseError(u"\\\\?\\C:\\x"), ERROR_INVALID_NAME);
  for (char16_t bad : std::u16string(u":\"<>|*?")) {
    std::u16string text = u"\\dir\\a";
    text += bad;
    EXPECT_EQ(ParseError(text), ERROR_INVALID_NAME) << int{bad};
  }
  EXPECT_EQ(ParseError(u"\\a\x01z"), ERROR_INVALID_NAME);
  EXPECT_EQ(ParseError(u"\\a\x1f"), ERROR_INVALID_NAME);
  EXPECT_EQ(ParseError(u"\\..."), ERROR_INVALID_NAME);
  EXPECT_EQ(ParseError(std::u16string(u"\\a") + char16_t{0xD800}),
            ERROR_INVALID_NAME);
}

TEST(FilePathTest, WildcardsOnlyInTheLastNameOfAPattern) {
  EXPECT_EQ(Canonical(u"\\dir\\*.p?i", FilePath::Kind::kPattern),
            u"\\dir\\*.p?i");
  EXPECT_EQ(ParseError(u"\\d*r\\x", FilePath::Kind::kPattern),
            ERROR_INVALID_NAME);
  EXPECT_EQ(ParseError(u"\\dir\\*", FilePath::Kind::kName), ERROR_INVALID_NAME);
}

TEST(FilePathTest, TheTextEndsAtItsFirstNul) {
  const std::u16string text(u"\\Temp\\a.txt\0\\..\\..\\C:\\evil", 25);
  EXPECT_EQ(Canonical(text), u"\\Temp\\a.txt");
  FilePath path;
  EXPECT_EQ(FilePath::Parse(text.c_str(), FilePath::Kind::kName, &path),
            ERROR_SUCCESS);
  EXPECT_EQ(path.ToString(), u"\\Temp\\a.txt");
}

TEST(FilePathTest, LengthIsLimitedToMaxPath) {
  const std::u16string longest = u"\\" + std::u16string(MAX_PATH - 2, u'a');
  EXPECT_EQ(Canonical(longest).size(), static_cast<std::size_t>(MAX_PATH - 1));
  const std::u16string tooLong = longest + u"a";
  EXPECT_EQ(ParseError(tooLong), ERROR_FILENAME_EXCED_RANGE);
  FilePath path;
  EXPECT_EQ(FilePath::Parse(tooLong.c_str(), FilePath::Kind::kName, &path),
            ERROR_FILENAME_EXCED_RANGE);
  // A relative path one character short gains its leading separator.
  EXPECT_EQ(ParseError(std::u16string(MAX_PATH - 1, u'a')),
            ERROR_FILENAME_EXCED_RANGE);
}

TEST(FilePathTest, EmptyAndNullPaths) {
  FilePath path;
  EXPECT_EQ(FilePath::Parse(u"", FilePath::Kind::kName, &path),
            ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(FilePath::Parse(static_cast<LPCWSTR>(nullptr),
                            FilePath::Kind::kName, &path),
            ERROR_INVALID_PARAMETER);
}

TEST(FilePathTest, FailureLeavesTheOutputAlone) {
  FilePath path;
  ASSERT_EQ(FilePath::Parse(u"\\keep", FilePath::Kind::kName, &path),
            ERROR_SUCCESS);
  EXPECT_EQ(FilePath::Parse(u"C:\\x", FilePath::Kind::kName, &path),
            ERROR_INVALID_NAME);
  EXPECT_EQ(path.ToString(), u"\\keep");
}

TEST(FilePathTest, TrailingSeparatorIsRemembered) {
  FilePath path;
  ASSERT_EQ(FilePath::Parse(u"\\dir\\", FilePath::Kind::kName, &path),
            ERROR_SUCCESS);
  EXPECT_TRUE(path.trailingSeparator());
  EXPECT_EQ(path.Leaf(), u"dir");
}

}  // namespace
}  // namespace device
