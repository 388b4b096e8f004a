// Searches, directories, moves, attributes, temporary names and object
// identifiers of the handheld's file system.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "device/fs/file_system.h"
#include "device/fs/file_test_support.h"

namespace device {
namespace {

using FileDirectoryTest = FileSystemFixture;

std::vector<std::u16string> Names(FileSystem& fs, LPCWSTR pattern) {
  std::vector<std::u16string> names;
  WIN32_FIND_DATAW found;
  HANDLE search = fs.FindFirstFileW(pattern, &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    names.emplace_back(found.cFileName);
  } while (fs.FindNextFileW(search, &found));
  fs.FindClose(search);
  return names;
}

TEST_F(FileDirectoryTest, FindMatchesWildcardsWithoutRegardToCase) {
  ASSERT_TRUE(fs_.CreateDirectoryW(u"\\Data", nullptr));
  MakeFile(u"\\Data\\one.PWI", "1");
  MakeFile(u"\\Data\\two.pwi", "22");
  MakeFile(u"\\Data\\README", "333");
  MakeFile(u"\\Data\\tree.txt", "4");
  ASSERT_TRUE(fs_.CreateDirectoryW(u"\\Data\\Sub", nullptr));

  using V = std::vector<std::u16string>;
  EXPECT_EQ(Names(fs_, u"\\Data\\*.pwi"), (V{u"one.PWI", u"two.pwi"}));
  EXPECT_EQ(Names(fs_, u"\\DATA\\T??.*"), (V{u"two.pwi"}));
  EXPECT_EQ(Names(fs_, u"\\Data\\*.*"),
            (V{u"one.PWI", u"README", u"Sub", u"tree.txt", u"two.pwi"}));
  EXPECT_EQ(Names(fs_, u"/data/t*"), (V{u"tree.txt", u"two.pwi"}));
}

TEST_F(FileDirectoryTest, FindReportsEveryField) {
  MakeFile(u"\\Temp\\f.bin", "12345");
  WIN32_FIND_DATAW found;
  FillSentinel(&found);
  PresetLastError();
  HANDLE search = fs_.FindFirstFileW(u"\\Temp\\*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_EQ(found.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(found.nFileSizeHigh, 0u);
  EXPECT_EQ(found.nFileSizeLow, 5u);
  EXPECT_NE(found.dwOID, 0u);
  EXPECT_NE(found.ftLastWriteTime.dwHighDateTime, 0u);
  EXPECT_EQ(std::u16string(found.cFileName), u"f.bin");
  // Past the name's terminator the buffer is as it was.
  EXPECT_EQ(found.cFileName[6], char16_t{0xBDBD});
  CEOIDINFO info;
  ASSERT_TRUE(fs_.GetOidInfo(found.dwOID, &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_FILE);

  // The end: FALSE, ERROR_NO_MORE_FILES, the structure untouched.
  FillSentinel(&found);
  EXPECT_FALSE(fs_.FindNextFileW(search, &found));
  EXPECT_EQ(LastError(), ERROR_NO_MORE_FILES);
  EXPECT_TRUE(IsSentinel(found));
  EXPECT_TRUE(fs_.FindClose(search));
}

TEST_F(FileDirectoryTest, FindWithoutAMatch) {
  WIN32_FIND_DATAW found;
  FillSentinel(&found);
  PresetLastError();
  EXPECT_EQ(fs_.FindFirstFileW(u"\\Temp\\*.none", &found),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(IsSentinel(found));
  PresetLastError();
  EXPECT_EQ(fs_.FindFirstFileW(u"\\NoDir\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_TRUE(IsSentinel(found));
  PresetLastError();
  EXPECT_EQ(fs_.FindFirstFileW(u"C:\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
  EXPECT_TRUE(IsSentinel(found));
}

TEST_F(FileDirectoryTest, FindSkipsEntriesDeletedWhileSearching) {
  MakeFile(u"\\Temp\\a", "");
  MakeFile(u"\\Temp\\b", "");
  MakeFile(u"\\Temp\\c", "");
  WIN32_FIND_DATAW found;
  HANDLE search = fs_.FindFirstFileW(u"\\Temp\\*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::u16string(found.cFileName), u"a");
  ASSERT_TRUE(fs_.DeleteFileW(u"\\Temp\\b"));
  ASSERT_TRUE(fs_.FindNextFileW(search, &found));
  EXPECT_EQ(std::u16string(found.cFileName), u"c");
  EXPECT_FALSE(fs_.FindNextFileW(search, &found));
  fs_.FindClose(search);
}

TEST_F(FileDirectoryTest, DeleteFile) {
  PresetLastError();
  EXPECT_FALSE(fs_.DeleteFileW(u"\\Temp\\missing"));
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  PresetLastError();
  EXPECT_FALSE(fs_.DeleteFileW(u"\\NoDir\\missing"));
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  PresetLastError();
  EXPECT_FALSE(fs_.DeleteFileW(u"\\Temp"));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  MakeFile(u"\\Temp\\gone", "x");
  PresetLastError();
  EXPECT_TRUE(fs_.DeleteFileW(u"\\TEMP\\GONE"));
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\gone"), INVALID_FILE_ATTRIBUTES);
}

TEST_F(FileDirectoryTest, Directories) {
  PresetLastError();
  EXPECT_TRUE(fs_.CreateDirectoryW(u"\\New", nullptr));
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_FALSE(fs_.CreateDirectoryW(u"\\new", nullptr));
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(fs_.CreateDirectoryW(u"\\", nullptr));
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(fs_.CreateDirectoryW(u"\\Missing\\Sub", nullptr));
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  MakeFile(u"\\New\\f", "x");
  EXPECT_FALSE(fs_.CreateDirectoryW(u"\\New\\f", nullptr));
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);

  EXPECT_FALSE(fs_.RemoveDirectoryW(u"\\New"));
  EXPECT_EQ(LastError(), ERROR_DIR_NOT_EMPTY);
  EXPECT_FALSE(fs_.RemoveDirectoryW(u"\\New\\f"));
  EXPECT_EQ(LastError(), ERROR_DIRECTORY);
  EXPECT_FALSE(fs_.RemoveDirectoryW(u"\\Nothing"));
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(fs_.RemoveDirectoryW(u"\\"));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  ASSERT_TRUE(fs_.DeleteFileW(u"\\New\\f"));
  EXPECT_TRUE(fs_.RemoveDirectoryW(u"\\New\\"));
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\New"), INVALID_FILE_ATTRIBUTES);
}

TEST_F(FileDirectoryTest, MoveKeepsTheObjectIdentifier) {
  MakeFile(u"\\Temp\\from.txt", "moved");
  WIN32_FIND_DATAW before;
  fs_.FindClose(fs_.FindFirstFileW(u"\\Temp\\from.txt", &before));
  PresetLastError();
  ASSERT_TRUE(fs_.MoveFileW(u"\\Temp\\from.txt", u"\\My Documents\\to.txt"));
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_EQ(Content(u"\\My Documents\\to.txt"), "moved");
  EXPECT_EQ(Content(u"\\Temp\\from.txt"), "<missing>");
  WIN32_FIND_DATAW after;
  fs_.FindClose(fs_.FindFirstFileW(u"\\My Documents\\to.txt", &after));
  EXPECT_EQ(after.dwOID, before.dwOID);

  // Only the case changes.
  ASSERT_TRUE(
      fs_.MoveFileW(u"\\My Documents\\to.txt", u"\\My Documents\\TO.TXT"));
  EXPECT_EQ(Names(fs_, u"\\My Documents\\*"),
            std::vector<std::u16string>{u"TO.TXT"});
}

TEST_F(FileDirectoryTest, MoveFailures) {
  MakeFile(u"\\Temp\\a", "a");
  MakeFile(u"\\Temp\\b", "b");
  PresetLastError();
  EXPECT_FALSE(fs_.MoveFileW(u"\\Temp\\a", u"\\Temp\\B"));
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(fs_.MoveFileW(u"\\Temp\\none", u"\\Temp\\c"));
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(fs_.MoveFileW(u"\\Temp\\a", u"\\NoDir\\a"));
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  ASSERT_TRUE(fs_.CreateDirectoryW(u"\\Temp\\Sub", nullptr));
  EXPECT_FALSE(fs_.MoveFileW(u"\\Temp", u"\\Temp\\Sub\\Inner"));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(fs_.MoveFileW(u"\\Temp\\Sub", u"\\Sub2"));
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Sub2"), FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(FileDirectoryTest, Attributes) {
  MakeFile(u"\\Temp\\x", "x");
  PresetLastError();
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\x"), FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(LastError(), kUntouched);
  ASSERT_TRUE(fs_.SetFileAttributesW(
      u"\\Temp\\x", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\x"),
            FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
  ASSERT_TRUE(fs_.SetFileAttributesW(u"\\Temp\\x", FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\x"), FILE_ATTRIBUTE_NORMAL);
  ASSERT_TRUE(fs_.SetFileAttributesW(u"\\Temp", FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp"),
            FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN);

  PresetLastError();
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\none"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\None\\none"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\Temp\\x\\"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
  EXPECT_FALSE(fs_.SetFileAttributesW(u"\\Temp\\none", 0));
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileDirectoryTest, TempFileNameWithAGivenNumber) {
  WCHAR name[MAX_PATH];
  FillSentinel(&name);
  PresetLastError();
  EXPECT_EQ(fs_.GetTempFileNameW(u"\\Temp", u"abcdef", 0x1A2B, name), 0x1A2Bu);
  EXPECT_EQ(std::u16string(name), u"\\Temp\\abc1A2B.tmp");
  EXPECT_EQ(name[18], char16_t{0xBDBD});
  EXPECT_EQ(LastError(), kUntouched);
  // The file is not made.
  EXPECT_EQ(fs_.GetFileAttributesW(name), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(fs_.GetTempFileNameW(u"\\", u"x", 7, name), 7u);
  EXPECT_EQ(std::u16string(name), u"\\x7.tmp");
}

TEST_F(FileDirectoryTest, TempFileNameWithoutANumberMakesAFreshFile) {
  std::set<std::u16string> seen;
  for (int i = 0; i < 3; ++i) {
    WCHAR name[MAX_PATH];
    const UINT number = fs_.GetTempFileNameW(u"\\Temp", u"vn", 0, name);
    ASSERT_NE(number, 0u);
    EXPECT_TRUE(std::u16string(name).starts_with(u"\\Temp\\vn"));
    EXPECT_TRUE(std::u16string(name).ends_with(u".tmp"));
    EXPECT_EQ(Content(name), "");
    EXPECT_TRUE(seen.insert(name).second);
  }
}

TEST_F(FileDirectoryTest, TempFileNameFailures) {
  WCHAR name[MAX_PATH];
  FillSentinel(&name);
  PresetLastError();
  EXPECT_EQ(fs_.GetTempFileNameW(u"\\NoDir", u"vn", 0, name), 0u);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(fs_.GetTempFileNameW(nullptr, u"vn", 0, name), 0u);
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(fs_.GetTempFileNameW(u"\\Temp", u"a\\b", 1, name), 0u);
  EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
  EXPECT_EQ(fs_.GetTempFileNameW(u"\\Temp", u"a:b", 1, name), 0u);
  EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
  EXPECT_TRUE(IsSentinel(name));
}

TEST_F(FileDirectoryTest, OidInfoOfFilesAndDirectories) {
  ASSERT_TRUE(fs_.CreateDirectoryW(u"\\My Documents\\Ink", nullptr));
  MakeFile(u"\\My Documents\\Ink\\n.pwi", "1234567");
  WIN32_FIND_DATAW dir, file;
  fs_.FindClose(fs_.FindFirstFileW(u"\\My Documents\\Ink", &dir));
  fs_.FindClose(fs_.FindFirstFileW(u"\\My Documents\\Ink\\n.pwi", &file));

  CEOIDINFO info;
  FillSentinel(&info);
  PresetLastError();
  ASSERT_TRUE(fs_.GetOidInfo(file.dwOID, &info));
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_EQ(info.wObjType, OBJTYPE_FILE);
  EXPECT_EQ(info.infFile.oidParent, dir.dwOID);
  EXPECT_EQ(std::u16string(info.infFile.szFileName),
            u"\\My Documents\\Ink\\n.pwi");
  EXPECT_EQ(info.infFile.dwLength, 7u);
  EXPECT_EQ(info.infFile.dwAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(info.infFile.ftLastChanged.dwLowDateTime,
            file.ftLastWriteTime.dwLowDateTime);

  FillSentinel(&info);
  ASSERT_TRUE(fs_.GetOidInfo(dir.dwOID, &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_DIRECTORY);
  EXPECT_EQ(info.infDirectory.dwAttributes, FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(std::u16string(info.infDirectory.szDirName),
            u"\\My Documents\\Ink");
  WIN32_FIND_DATAW top;
  fs_.FindClose(fs_.FindFirstFileW(u"\\My Documents", &top));
  EXPECT_EQ(info.infDirectory.oidParent, top.dwOID);

  FillSentinel(&info);
  EXPECT_FALSE(fs_.GetOidInfo(0, &info));
  EXPECT_FALSE(fs_.GetOidInfo(0x7FFFFFF0, &info));
  EXPECT_TRUE(IsSentinel(info));
  EXPECT_EQ(LastError(), kUntouched);
}

TEST_F(FileDirectoryTest, ObjectIdentifiersComeFromTheImage) {
  const std::uint32_t before = image_->NewOid();
  MakeFile(u"\\Temp\\oid", "");
  WIN32_FIND_DATAW found;
  fs_.FindClose(fs_.FindFirstFileW(u"\\Temp\\oid", &found));
  EXPECT_GT(found.dwOID, before);
  EXPECT_LT(found.dwOID, image_->NewOid());
}

}  // namespace
}  // namespace device
