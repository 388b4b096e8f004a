// Contents of large files, their persistence in an image file, and the
// confinement of every path to the image.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "device/fs/file_system.h"
#include "device/fs/file_test_support.h"

namespace device {
namespace {

using FileStorageTest = FileSystemFixture;

constexpr DWORD kPiece = 221174;  // what the desktop asks for at most
constexpr std::size_t kMiB = std::size_t{1024} * 1024;

std::vector<std::uint8_t> Pattern(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  std::uint32_t state = 0x12345678;
  for (auto& byte : bytes) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<std::uint8_t>(state >> 24);
  }
  return bytes;
}

TEST_F(FileStorageTest, OneMebibyteInDesktopSizedPieces) {
  const std::vector<std::uint8_t> bytes = Pattern(kMiB);
  for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
    const DWORD count =
        static_cast<DWORD>(std::min<std::size_t>(kPiece, bytes.size() - at));
    HANDLE file = Open(u"\\My Documents\\big.bin", GENERIC_READ | GENERIC_WRITE,
                       0, OPEN_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(LastError(), at == 0 ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    ASSERT_EQ(fs_.SetFilePointer(file, 0, nullptr, FILE_END), at);
    DWORD done = 0;
    ASSERT_TRUE(fs_.WriteFile(file, bytes.data() + at, count, &done, nullptr));
    ASSERT_EQ(done, count);
    ASSERT_TRUE(Close(file));
  }

  std::vector<std::uint8_t> back;
  for (std::size_t at = 0;; at += kPiece) {
    HANDLE file = Open(u"\\My Documents\\big.bin", GENERIC_READ | GENERIC_WRITE,
                       0, OPEN_EXISTING);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    ASSERT_EQ(
        fs_.SetFilePointer(file, static_cast<LONG>(at), nullptr, FILE_BEGIN),
        at);
    std::vector<std::uint8_t> piece(kPiece, kSentinel);
    DWORD done = kUntouched;
    ASSERT_TRUE(fs_.ReadFile(file, piece.data(), kPiece, &done, nullptr));
    ASSERT_TRUE(Close(file));
    if (done == 0) break;
    back.insert(back.end(), piece.begin(), piece.begin() + done);
    for (std::size_t i = done; i < piece.size(); ++i) {
      ASSERT_EQ(piece[i], kSentinel);
    }
  }
  ASSERT_EQ(back.size(), bytes.size());
  EXPECT_TRUE(back == bytes);

  Statement chunks = image_->Prepare("SELECT COUNT(*) FROM fs_chunk");
  ASSERT_TRUE(chunks.Step());
  EXPECT_EQ(chunks.Int(0), 16);
}

TEST_F(FileStorageTest, AWriteAtTheEndRewritesOnlyTheLastPiece) {
  const std::vector<std::uint8_t> bytes = Pattern(kMiB + 1000);
  HANDLE file = Open(u"\\Temp\\log.bin", GENERIC_WRITE, 0, CREATE_ALWAYS);
  DWORD done = 0;
  ASSERT_TRUE(fs_.WriteFile(file, bytes.data(),
                            static_cast<DWORD>(bytes.size()), &done, nullptr));
  image_->Exec("CREATE TEMP TABLE chunk_writes(idx INTEGER)");
  image_->Exec(
      "CREATE TEMP TRIGGER count_chunk_writes AFTER INSERT ON main.fs_chunk "
      "BEGIN INSERT INTO chunk_writes VALUES(new.idx); END");
  ASSERT_TRUE(fs_.WriteFile(file, "tail", 4, &done, nullptr));
  Close(file);
  Statement writes = image_->Prepare("SELECT idx FROM chunk_writes");
  ASSERT_TRUE(writes.Step());
  EXPECT_EQ(writes.Int(0), 16);
  EXPECT_FALSE(writes.Step());
  image_->Exec("DROP TRIGGER count_chunk_writes");
}

class FilePersistenceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = (std::filesystem::temp_directory_path() /
             ("vorn-files-" + std::to_string(::getpid()) + ".img"))
                .string();
    std::filesystem::remove(path_);
  }
  void TearDown() override {
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::filesystem::remove(path_ + suffix);
    }
  }
  std::string path_;
};

TEST_F(FilePersistenceTest, FilesSurviveReopeningTheImage) {
  const std::vector<std::uint8_t> bytes = Pattern(200000);
  DWORD oid = 0;
  {
    auto created = DeviceImage::Create(path_);
    ASSERT_TRUE(created.ok()) << created.status().message();
    HandleTable handles;
    FaultSet faults(**created);
    DeviceContext context{**created, handles, faults};
    FileSystem fs(context);
    ASSERT_TRUE(fs.CreateDirectoryW(u"\\Keep", nullptr));
    HANDLE file = fs.CreateFileW(u"\\Keep\\Data.bin", GENERIC_WRITE, 0, nullptr,
                                 CREATE_NEW, FILE_ATTRIBUTE_READONLY, 0);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD done = 0;
    ASSERT_TRUE(fs.WriteFile(file, bytes.data(),
                             static_cast<DWORD>(bytes.size()), &done, nullptr));
    handles.CloseAll();
    WIN32_FIND_DATAW found;
    fs.FindClose(fs.FindFirstFileW(u"\\Keep\\*", &found));
    oid = found.dwOID;
  }
  auto opened = DeviceImage::Open(path_);
  ASSERT_TRUE(opened.ok()) << opened.status().message();
  HandleTable handles;
  FaultSet faults(**opened);
  DeviceContext context{**opened, handles, faults};
  FileSystem fs(context);
  EXPECT_EQ(fs.GetFileAttributesW(u"\\keep\\data.bin"),
            FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
  HANDLE file = fs.CreateFileW(u"\\keep\\data.bin", GENERIC_READ, 0, nullptr,
                               OPEN_EXISTING, 0, 0);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  std::vector<std::uint8_t> back(bytes.size() + 10, kSentinel);
  DWORD done = 0;
  ASSERT_TRUE(fs.ReadFile(file, back.data(), static_cast<DWORD>(back.size()),
                          &done, nullptr));
  ASSERT_EQ(done, bytes.size());
  back.resize(done);
  EXPECT_TRUE(back == bytes);
  CEOIDINFO info;
  ASSERT_TRUE(fs.GetOidInfo(oid, &info));
  EXPECT_EQ(std::u16string(info.infFile.szFileName), u"\\Keep\\Data.bin");
  // The initial directories are still there and not doubled.
  WIN32_FIND_DATAW found;
  int temps = 0;
  HANDLE search = fs.FindFirstFileW(u"\\T*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  do {
    ++temps;
  } while (fs.FindNextFileW(search, &found));
  fs.FindClose(search);
  EXPECT_EQ(temps, 1);
}

// Every attempt to name something outside the image stays inside it or is
// refused; the host's file system never changes.
TEST_F(FileStorageTest, HostAbsolutePathsStayInsideTheImage) {
  const std::string pid = std::to_string(::getpid());
  const std::string probe = "/tmp/vorn-confinement-" + pid;
  std::filesystem::remove(probe);
  const std::u16string devicePath =
      u"/tmp/vorn-confinement-" + std::u16string(pid.begin(), pid.end());
  ASSERT_TRUE(fs_.CreateDirectoryW(u"/tmp", nullptr));
  MakeFile(devicePath.c_str(), "inside");
  EXPECT_FALSE(std::filesystem::exists(probe));
  WIN32_FIND_DATAW found;
  fs_.FindClose(fs_.FindFirstFileW(devicePath.c_str(), &found));
  CEOIDINFO info;
  ASSERT_TRUE(fs_.GetOidInfo(found.dwOID, &info));
  EXPECT_EQ(std::u16string(info.infFile.szFileName),
            u"\\tmp\\vorn-confinement-" + devicePath.substr(22));

  PresetLastError();
  EXPECT_EQ(Open(u"/etc/passwd", GENERIC_READ, 0, OPEN_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FileStorageTest, DotDotIsClampedAtTheRoot) {
  MakeFile(u"\\..\\..\\..\\escape.txt", "root");
  EXPECT_EQ(Content(u"\\escape.txt"), "root");
  MakeFile(u"\\Temp\\..\\..\\Windows\\.\\w.txt", "win");
  EXPECT_EQ(Content(u"\\Windows\\w.txt"), "win");
  EXPECT_EQ(Content(u"../Windows/../Windows/w.txt"), "win");
}

TEST_F(FileStorageTest, DriveLettersAndBadCharactersAreRefused) {
  for (LPCWSTR bad :
       {u"C:\\x.txt", u"\\\\?\\C:\\x", u"\\Temp\\a<b", u"\\Temp\\a>b",
        u"\\Temp\\a|b", u"\\Temp\\a\"b", u"\\Temp\\a*b", u"\\Temp\\a?b",
        u"\\Temp\\a\tb", u"\\Temp\\...", u"\\Temp\\x:stream"}) {
    PresetLastError();
    EXPECT_EQ(Open(bad, GENERIC_WRITE, 0, CREATE_ALWAYS), INVALID_HANDLE_VALUE)
        << std::string(bad, bad + std::char_traits<char16_t>::length(bad));
    EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
    PresetLastError();
    EXPECT_FALSE(fs_.CreateDirectoryW(bad, nullptr));
    EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
  }
  EXPECT_EQ(fs_.FindFirstFileW(u"\\Temp\\*", nullptr), INVALID_HANDLE_VALUE);
}

TEST_F(FileStorageTest, EmbeddedNulEndsThePath) {
  const std::u16string text(u"\\Temp\\a.txt\0\\..\\..\\C:\\b", 23);
  MakeFile(text.c_str(), "nul");
  EXPECT_EQ(Content(u"\\Temp\\a.txt"), "nul");
  WIN32_FIND_DATAW found;
  HANDLE search = fs_.FindFirstFileW(u"\\*", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  do {
    EXPECT_NE(std::u16string(found.cFileName), u"b");
  } while (fs_.FindNextFileW(search, &found));
  fs_.FindClose(search);
}

TEST_F(FileStorageTest, OverlongPathsAreRefused) {
  std::u16string name(MAX_PATH, u'n');
  name[0] = u'\\';
  PresetLastError();
  EXPECT_EQ(Open(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_FILENAME_EXCED_RANGE);
  name.resize(MAX_PATH - 1);
  HANDLE file = Open(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  Close(file);
  PresetLastError();
  EXPECT_EQ(Open(nullptr, GENERIC_READ, 0, OPEN_EXISTING),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_INVALID_PARAMETER);
  PresetLastError();
  EXPECT_EQ(Open(u"", GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FileStorageTest, LoneSurrogatesAreRefused) {
  std::u16string name = u"\\Temp\\x";
  name.push_back(char16_t{0xDC01});
  PresetLastError();
  EXPECT_EQ(Open(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(LastError(), ERROR_INVALID_NAME);
}

}  // namespace
}  // namespace device
