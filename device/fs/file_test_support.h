// A handheld file system over an in-memory image, for the tests of the
// file system's calls.
#ifndef VORN_DEVICE_FS_FILE_TEST_SUPPORT_H_
#define VORN_DEVICE_FS_FILE_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "device/fs/file_system.h"
#include "device/image/device_context.h"
#include "device/image/device_image.h"
#include "device/image/fault_set.h"
#include "device/image/handle_table.h"

namespace device {

inline constexpr unsigned char kSentinel = 0xBD;
inline constexpr DWORD kUntouched = 0xBDBDBDBDU;

class FileSystemFixture : public ::testing::Test {
 protected:
  explicit FileSystemFixture(
      std::unique_ptr<DeviceImage> image = DeviceImage::InMemory())
      : image_(std::move(image)),
        faults_(*image_),
        context_{*image_, handles_, faults_},
        fs_(context_) {}

  DWORD LastError() const { return context_.lastError; }
  void PresetLastError() { context_.lastError = kUntouched; }

  HANDLE Open(LPCWSTR path, DWORD access, DWORD share, DWORD creation) {
    return fs_.CreateFileW(path, access, share, nullptr, creation,
                           FILE_ATTRIBUTE_NORMAL, 0);
  }
  bool Close(HANDLE handle) { return handles_.Close(handle); }

  // Creates (or replaces) a file holding `bytes`.
  void MakeFile(LPCWSTR path, const std::string& bytes) {
    HANDLE file = Open(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD done = 0;
    ASSERT_TRUE(fs_.WriteFile(
        file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr));
    ASSERT_EQ(done, bytes.size());
    Close(file);
  }

  // The whole content of a file; "<missing>" when it cannot be opened.
  std::string Content(LPCWSTR path) {
    HANDLE file = Open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE) return "<missing>";
    std::string all;
    char piece[4096];
    DWORD done = 0;
    while (fs_.ReadFile(file, piece, sizeof piece, &done, nullptr) &&
           done > 0) {
      all.append(piece, done);
    }
    Close(file);
    return all;
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  FileSystem fs_;
};

template <typename T>
void FillSentinel(T* value) {
  std::memset(static_cast<void*>(value), kSentinel, sizeof(T));
}

template <typename T>
bool IsSentinel(const T& value) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, static_cast<const void*>(&value), sizeof(T));
  for (unsigned char byte : bytes) {
    if (byte != kSentinel) return false;
  }
  return true;
}

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_TEST_SUPPORT_H_
