#include "device/fs/file_system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "device/fs/file_test_support.h"

namespace device {
namespace {

using FileSystemTest = FileSystemFixture;

TEST_F(FileSystemTest, NewImageHasTheInitialDirectories) {
  for (LPCWSTR dir : {u"\\My Documents", u"\\Windows", u"\\Temp"}) {
    EXPECT_EQ(fs_.GetFileAttributesW(dir), FILE_ATTRIBUTE_DIRECTORY);
  }
  EXPECT_EQ(fs_.GetFileAttributesW(u"\\"), FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(FileSystemTest, InitialDirectoriesAreMadeOnlyOnce) {
  ASSERT_TRUE(fs_.RemoveDirectoryW(u"\\Temp"));
  FileSystem again(context_);
  EXPECT_EQ(again.GetFileAttributesW(u"\\Temp"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(again.GetFileAttributesW(u"\\Windows"), FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(FileSystemTest, CreateNewSetsNoErrorAndRefusesAnExistingFile) {
  PresetLastError();
  HANDLE file = Open(u"\\Temp\\a.txt", GENERIC_WRITE, 0, CREATE_NEW);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_SUCCESS);
  Close(file);
  PresetLastError();
  EXPECT_EQ(Open(u"\\Temp\\a.txt", GENERIC_WRITE, 0, CREATE_NEW),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_FILE_EXISTS);
}

TEST_F(FileSystemTest, OpenAlwaysReportsAnExistingFile) {
  PresetLastError();
  HANDLE file =
      Open(u"\\Temp\\b.txt", GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_SUCCESS);
  Close(file);
  MakeFile(u"\\Temp\\b.txt", "keep");
  PresetLastError();
  file = Open(u"\\Temp\\b.txt", GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(fs_.GetFileSize(file, nullptr), 4u);
  Close(file);
}

TEST_F(FileSystemTest, CreateAlwaysTruncatesAndReportsAnExistingFile) {
  MakeFile(u"\\Temp\\c.txt", "old content");
  PresetLastError();
  HANDLE file = Open(u"\\Temp\\c.txt", GENERIC_WRITE, 0, CREATE_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(fs_.GetFileSize(file, nullptr), 0u);
  Close(file);
  EXPECT_EQ(Content(u"\\Temp\\c.txt"), "");
}

TEST_F(FileSystemTest, TruncateExisting) {
  PresetLastError();
  EXPECT_EQ(Open(u"\\Temp\\none", GENERIC_WRITE, 0, TRUNCATE_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  MakeFile(u"\\Temp\\t.txt", "12345");
  EXPECT_EQ(Open(u"\\Temp\\t.txt", GENERIC_READ, 0, TRUNCATE_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  PresetLastError();
  HANDLE file = Open(u"\\Temp\\t.txt", GENERIC_WRITE, 0, TRUNCATE_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_SUCCESS);
  Close(file);
  EXPECT_EQ(Content(u"\\Temp\\t.txt"), "");
}

TEST_F(FileSystemTest, MissingFilesAndDirectories) {
  PresetLastError();
  EXPECT_EQ(Open(u"\\Temp\\missing.txt", GENERIC_READ, 0, OPEN_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_FILE_NOT_FOUND);
  PresetLastError();
  EXPECT_EQ(Open(u"\\NoDir\\x.txt", GENERIC_WRITE, 0, CREATE_ALWAYS),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
  MakeFile(u"\\Temp\\file", "x");
  PresetLastError();
  EXPECT_EQ(Open(u"\\Temp\\file\\x.txt", GENERIC_WRITE, 0, CREATE_ALWAYS),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FileSystemTest, DirectoriesCannotBeOpenedAsFiles) {
  for (LPCWSTR dir : {u"\\Temp", u"\\"}) {
    PresetLastError();
    EXPECT_EQ(Open(dir, GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
    EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  }
}

TEST_F(FileSystemTest, ReadOnlyFiles) {
  MakeFile(u"\\Temp\\ro.txt", "data");
  ASSERT_TRUE(
      fs_.SetFileAttributesW(u"\\Temp\\ro.txt", FILE_ATTRIBUTE_READONLY));
  for (DWORD creation : {OPEN_EXISTING, OPEN_ALWAYS, CREATE_ALWAYS}) {
    PresetLastError();
    EXPECT_EQ(Open(u"\\Temp\\ro.txt", GENERIC_WRITE, 0, creation),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  }
  EXPECT_EQ(Content(u"\\Temp\\ro.txt"), "data");
  PresetLastError();
  EXPECT_FALSE(fs_.DeleteFileW(u"\\Temp\\ro.txt"));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  ASSERT_TRUE(fs_.SetFileAttributesW(u"\\Temp\\ro.txt", FILE_ATTRIBUTE_NORMAL));
  EXPECT_TRUE(fs_.DeleteFileW(u"\\Temp\\ro.txt"));
}

TEST_F(FileSystemTest, SharingViolations) {
  MakeFile(u"\\Temp\\s.txt", "x");
  HANDLE exclusive =
      Open(u"\\Temp\\s.txt", GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
  PresetLastError();
  EXPECT_EQ(Open(u"\\Temp\\s.txt", GENERIC_READ,
                 FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_SHARING_VIOLATION);
  PresetLastError();
  EXPECT_FALSE(fs_.DeleteFileW(u"\\Temp\\s.txt"));
  EXPECT_EQ(LastError(), ERROR_SHARING_VIOLATION);
  PresetLastError();
  EXPECT_FALSE(fs_.MoveFileW(u"\\Temp\\s.txt", u"\\Temp\\s2.txt"));
  EXPECT_EQ(LastError(), ERROR_SHARING_VIOLATION);
  Close(exclusive);

  HANDLE reader =
      Open(u"\\Temp\\s.txt", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  HANDLE second =
      Open(u"\\Temp\\s.txt", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_NE(second, INVALID_HANDLE_VALUE);
  PresetLastError();
  EXPECT_EQ(
      Open(u"\\Temp\\s.txt", GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING),
      INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_SHARING_VIOLATION);
  Close(reader);
  Close(second);
  HANDLE writer = Open(u"\\Temp\\s.txt", GENERIC_WRITE, 0, OPEN_EXISTING);
  EXPECT_NE(writer, INVALID_HANDLE_VALUE);
  Close(writer);
}

TEST_F(FileSystemTest, NamesIgnoreCaseAndAcceptForwardSlashes) {
  MakeFile(u"\\My Documents\\Note.PWI", "ink");
  EXPECT_EQ(Content(u"\\my documents\\note.pwi"), "ink");
  EXPECT_EQ(Content(u"/MY DOCUMENTS/NOTE.pwi"), "ink");
  WIN32_FIND_DATAW found;
  FillSentinel(&found);
  HANDLE search = fs_.FindFirstFileW(u"\\My Documents\\note.pwi", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::u16string(found.cFileName), u"Note.PWI");  // as created
  fs_.FindClose(search);
}

TEST_F(FileSystemTest, SetFilePointer) {
  MakeFile(u"\\Temp\\p.txt", "0123456789");
  HANDLE file =
      Open(u"\\Temp\\p.txt", GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  PresetLastError();
  EXPECT_EQ(fs_.SetFilePointer(file, 4, nullptr, FILE_BEGIN), 4u);
  EXPECT_EQ(fs_.SetFilePointer(file, 2, nullptr, FILE_CURRENT), 6u);
  EXPECT_EQ(fs_.SetFilePointer(file, -3, nullptr, FILE_END), 7u);
  EXPECT_EQ(LastError(), kUntouched);
  EXPECT_EQ(fs_.SetFilePointer(file, -8, nullptr, FILE_CURRENT),
            INVALID_SET_FILE_POINTER);
  EXPECT_EQ(LastError(), ERROR_NEGATIVE_SEEK);
  EXPECT_EQ(fs_.SetFilePointer(file, 0, nullptr, FILE_CURRENT), 7u);
  EXPECT_EQ(fs_.SetFilePointer(file, 0, nullptr, 7), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  LONG high = 0;
  EXPECT_EQ(fs_.SetFilePointer(file, 3, &high, FILE_BEGIN), 3u);
  EXPECT_EQ(high, 0);

  // Past the end is allowed; a write there fills the gap with zeros.
  EXPECT_EQ(fs_.SetFilePointer(file, 5, nullptr, FILE_END), 15u);
  DWORD done = kUntouched;
  ASSERT_TRUE(fs_.WriteFile(file, "Z", 1, &done, nullptr));
  EXPECT_EQ(done, 1u);
  Close(file);
  EXPECT_EQ(Content(u"\\Temp\\p.txt"),
            std::string("0123456789\0\0\0\0\0Z", 16));
}

TEST_F(FileSystemTest, ReadFileLeavesTheRestOfTheBufferAlone) {
  MakeFile(u"\\Temp\\r.txt", "abcd");
  HANDLE file = Open(u"\\Temp\\r.txt", GENERIC_READ, 0, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  unsigned char buffer[16];
  FillSentinel(&buffer);
  DWORD done = kUntouched;
  PresetLastError();
  ASSERT_TRUE(fs_.ReadFile(file, buffer, 10, &done, nullptr));
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(std::memcmp(buffer, "abcd", 4), 0);
  for (int i = 4; i < 16; ++i) EXPECT_EQ(buffer[i], kSentinel) << i;
  EXPECT_EQ(LastError(), kUntouched);

  // At the end: TRUE and nothing read.
  FillSentinel(&buffer);
  done = kUntouched;
  ASSERT_TRUE(fs_.ReadFile(file, buffer, 10, &done, nullptr));
  EXPECT_EQ(done, 0u);
  EXPECT_TRUE(IsSentinel(buffer));
  EXPECT_EQ(LastError(), kUntouched);
  Close(file);
}

TEST_F(FileSystemTest, AccessIsCheckedPerHandle) {
  MakeFile(u"\\Temp\\w.txt", "abcd");
  HANDLE writeOnly = Open(u"\\Temp\\w.txt", GENERIC_WRITE, 0, OPEN_EXISTING);
  unsigned char buffer[8];
  FillSentinel(&buffer);
  DWORD done = kUntouched;
  PresetLastError();
  EXPECT_FALSE(fs_.ReadFile(writeOnly, buffer, 4, &done, nullptr));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(done, 0u);
  EXPECT_TRUE(IsSentinel(buffer));
  Close(writeOnly);

  HANDLE readOnly = Open(u"\\Temp\\w.txt", GENERIC_READ, 0, OPEN_EXISTING);
  done = kUntouched;
  PresetLastError();
  EXPECT_FALSE(fs_.WriteFile(readOnly, "xx", 2, &done, nullptr));
  EXPECT_EQ(LastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(done, 0u);
  Close(readOnly);
  EXPECT_EQ(Content(u"\\Temp\\w.txt"), "abcd");
}

TEST_F(FileSystemTest, InvalidHandles) {
  DWORD done = kUntouched;
  char buffer[4];
  PresetLastError();
  EXPECT_FALSE(fs_.ReadFile(0x4242, buffer, 4, &done, nullptr));
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  PresetLastError();
  EXPECT_FALSE(fs_.WriteFile(INVALID_HANDLE_VALUE, buffer, 4, &done, nullptr));
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  PresetLastError();
  EXPECT_EQ(fs_.SetFilePointer(0x4242, 0, nullptr, FILE_BEGIN),
            INVALID_SET_FILE_POINTER);
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  DWORD high = kUntouched;
  PresetLastError();
  EXPECT_EQ(fs_.GetFileSize(0x4242, &high), 0xFFFFFFFFu);
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(high, kUntouched);

  // A search handle is not a file handle, nor the other way round.
  WIN32_FIND_DATAW found;
  HANDLE search = fs_.FindFirstFileW(u"\\*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  PresetLastError();
  EXPECT_FALSE(fs_.ReadFile(search, buffer, 4, &done, nullptr));
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  MakeFile(u"\\Temp\\h.txt", "x");
  HANDLE file = Open(u"\\Temp\\h.txt", GENERIC_READ, 0, OPEN_EXISTING);
  PresetLastError();
  EXPECT_FALSE(fs_.FindClose(file));
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  EXPECT_TRUE(fs_.FindClose(search));
  PresetLastError();
  EXPECT_FALSE(fs_.FindNextFileW(search, &found));
  EXPECT_EQ(LastError(), ERROR_INVALID_HANDLE);
  Close(file);
}

TEST_F(FileSystemTest, OverlappedIoIsNotOffered) {
  MakeFile(u"\\Temp\\o.txt", "abcd");
  HANDLE file =
      Open(u"\\Temp\\o.txt", GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  char overlapped[20] = {};
  char buffer[4];
  DWORD done = kUntouched;
  PresetLastError();
  EXPECT_FALSE(fs_.ReadFile(file, buffer, 4, &done, overlapped));
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  PresetLastError();
  EXPECT_FALSE(fs_.WriteFile(file, buffer, 4, &done, overlapped));
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  Close(file);
}

TEST_F(FileSystemTest, GetFileSizeFillsTheHighPart) {
  MakeFile(u"\\Temp\\z.txt", "12345");
  HANDLE file = Open(u"\\Temp\\z.txt", GENERIC_READ, 0, OPEN_EXISTING);
  DWORD high = kUntouched;
  PresetLastError();
  EXPECT_EQ(fs_.GetFileSize(file, &high), 5u);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(LastError(), kUntouched);
  Close(file);
}

}  // namespace
}  // namespace device
