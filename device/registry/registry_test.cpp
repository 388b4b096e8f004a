#include "device/registry/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "platform/api.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;
constexpr DWORD kSentinelDword = 0xBDBDBDBD;

class RegistryTest : public ::testing::Test {
 protected:
  RegistryTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_, ERROR_SUCCESS},
        registry_(context_) {}

  HKEY Create(const char16_t* path) {
    HKEY key = 0;
    DWORD disposition = 0;
    EXPECT_EQ(
        registry_.RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0,
                                  KEY_ALL_ACCESS, nullptr, &key, &disposition),
        ERROR_SUCCESS);
    return key;
  }

  void SetDword(HKEY key, const char16_t* name, DWORD value) {
    BYTE data[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8),
                    static_cast<BYTE>(value >> 16),
                    static_cast<BYTE>(value >> 24)};
    ASSERT_EQ(registry_.RegSetValueExW(key, name, 0, REG_DWORD, data, 4),
              ERROR_SUCCESS);
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  Registry registry_;
};

TEST_F(RegistryTest, OpenMissingKeyLeavesResultUntouched) {
  HKEY key = kSentinelDword;
  EXPECT_EQ(registry_.RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Nowhere", 0,
                                    KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key, kSentinelDword);
  EXPECT_EQ(handles_.OpenCount(), 0u);
}

TEST_F(RegistryTest, CreateReportsDispositionAndPathsIgnoreCase) {
  HKEY key = 0;
  DWORD disposition = kSentinelDword;
  ASSERT_EQ(
      registry_.RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Orvanet", 0,
                                nullptr, 0, 0, nullptr, &key, &disposition),
      ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  EXPECT_EQ(registry_.RegCloseKey(key), ERROR_SUCCESS);
  ASSERT_EQ(
      registry_.RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"software\\ORVANET", 0,
                                nullptr, 0, 0, nullptr, &key, &disposition),
      ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(registry_.RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(registry_.RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\OrvaNet", 0,
                                    KEY_READ, &key),
            ERROR_SUCCESS);
  EXPECT_EQ(registry_.RegCloseKey(key), ERROR_SUCCESS);
  // Another root does not see it.
  EXPECT_EQ(registry_.RegOpenKeyExW(HKEY_CURRENT_USER, u"SOFTWARE\\Orvanet", 0,
                                    KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, QueryMissingValueWritesNothing) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  DWORD type = kSentinelDword;
  DWORD size = 4;
  BYTE data[4];
  std::memset(data, kSentinel, sizeof(data));
  EXPECT_EQ(
      registry_.RegQueryValueExW(key, u"Missing", nullptr, &type, data, &size),
      ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(type, kSentinelDword);
  EXPECT_EQ(size, 4u);
  for (BYTE b : data) EXPECT_EQ(b, kSentinel);
}

TEST_F(RegistryTest, QueryTooSmallBufferReportsSizeAndLeavesData) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  const char16_t text[] = u"ABCDEF";
  ASSERT_EQ(registry_.RegSetValueExW(key, u"MachineID", 0, REG_SZ,
                                     reinterpret_cast<const BYTE*>(text),
                                     sizeof(text)),
            ERROR_SUCCESS);
  DWORD type = kSentinelDword;
  DWORD size = 6;
  BYTE data[16];
  std::memset(data, kSentinel, sizeof(data));
  EXPECT_EQ(registry_.RegQueryValueExW(key, u"MachineID", nullptr, &type, data,
                                       &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(size, 14u);
  EXPECT_EQ(type, REG_SZ);
  for (BYTE b : data) EXPECT_EQ(b, kSentinel);
}

TEST_F(RegistryTest, QueryWithoutDataReportsSizeOnly) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  SetDword(key, u"Seq", 7);
  DWORD type = kSentinelDword;
  DWORD size = kSentinelDword;
  EXPECT_EQ(
      registry_.RegQueryValueExW(key, u"seq", nullptr, &type, nullptr, &size),
      ERROR_SUCCESS);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(size, 4u);
}

TEST_F(RegistryTest, StringValueKeepsItsTerminatingZero) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  ASSERT_TRUE(
      registry_.SetString("HKLM\\SOFTWARE\\Orvanet", "Name", "Zoë").ok());
  BYTE data[16];
  std::memset(data, kSentinel, sizeof(data));
  DWORD size = sizeof(data);
  DWORD type = 0;
  ASSERT_EQ(
      registry_.RegQueryValueExW(key, u"NAME", nullptr, &type, data, &size),
      ERROR_SUCCESS);
  EXPECT_EQ(size, 8u);
  const BYTE expected[8] = {'Z', 0, 'o', 0, 0xEB, 0, 0, 0};
  EXPECT_EQ(std::memcmp(data, expected, 8), 0);
  for (int i = 8; i < 16; ++i) EXPECT_EQ(data[i], kSentinel);
}

TEST_F(RegistryTest, ReadOnlyKeyCanBeWrittenLikeOnTheHandheld) {
  HKEY created = Create(u"SOFTWARE\\Microsoft\\Pim\\Outlook");
  ASSERT_EQ(registry_.RegCloseKey(created), ERROR_SUCCESS);
  HKEY key = 0;
  ASSERT_EQ(registry_.RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                                    u"SOFTWARE\\Microsoft\\Pim\\Outlook", 0,
                                    KEY_READ, &key),
            ERROR_SUCCESS);
  SetDword(key, u"Outlook", 1);
  Result<RegistryValue> value = registry_.Get(
      "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook");
  ASSERT_TRUE(value.ok());
  EXPECT_EQ(Registry::Describe(*value), "1");
}

TEST_F(RegistryTest, DeleteValue) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  SetDword(key, u"Seq", 7);
  EXPECT_EQ(registry_.RegDeleteValueW(key, u"SEQ"), ERROR_SUCCESS);
  EXPECT_EQ(registry_.RegDeleteValueW(key, u"Seq"), ERROR_FILE_NOT_FOUND);
  DWORD size = 4;
  EXPECT_EQ(
      registry_.RegQueryValueExW(key, u"Seq", nullptr, nullptr, nullptr, &size),
      ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, ClosedAndBogusHandles) {
  HKEY key = Create(u"SOFTWARE\\Orvanet");
  EXPECT_EQ(registry_.RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(registry_.RegCloseKey(key), ERROR_INVALID_HANDLE);
  DWORD size = 4;
  EXPECT_EQ(
      registry_.RegQueryValueExW(key, u"x", nullptr, nullptr, nullptr, &size),
      ERROR_INVALID_HANDLE);
  EXPECT_EQ(registry_.RegSetValueExW(0x1234, u"x", 0, REG_DWORD, nullptr, 0),
            ERROR_INVALID_HANDLE);
  EXPECT_EQ(registry_.RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
  EXPECT_EQ(context_.lastError, ERROR_SUCCESS);
}

TEST_F(RegistryTest, CommandLineHelpers) {
  EXPECT_TRUE(
      registry_.SetDword("hklm\\SOFTWARE\\Orvanet", "Seq", 4294967295u).ok());
  Result<RegistryValue> value = registry_.Get("HKLM\\software\\orvanet", "seq");
  ASSERT_TRUE(value.ok());
  EXPECT_EQ(Registry::TypeName(value->type), "REG_DWORD");
  EXPECT_EQ(Registry::Describe(*value), "4294967295");
  EXPECT_FALSE(registry_.Get("HKLM\\SOFTWARE\\Nowhere", "Seq").ok());
  EXPECT_FALSE(registry_.Get("HKXX\\SOFTWARE", "Seq").ok());
  EXPECT_FALSE(registry_.Delete("HKLM\\SOFTWARE\\Orvanet", "Other").ok());
  EXPECT_TRUE(registry_.Delete("HKLM\\SOFTWARE\\Orvanet", "Seq").ok());
  ASSERT_TRUE(registry_.SetString("HKCU\\A\\B", "", "x").ok());
  std::vector<RegistryEntry> all = registry_.List();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].key, "HKCU\\A\\B");
  EXPECT_EQ(Registry::Describe(all[0].value), "x");
}

}  // namespace
}  // namespace device
