#include "device/kernel/kernel.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/api.h"
#include "platform/msgstore.h"

namespace device {
namespace {

constexpr DWORD kSentinelDword = 0xBDBDBDBD;
// 2024-07-15 12:00:00.250 UTC, a Monday.
constexpr std::int64_t kJulyNoon = 1721044800250;

class KernelTest : public ::testing::Test {
 protected:
  KernelTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_, ERROR_SUCCESS},
        kernel_(context_) {
    image_->SetMeta(Kernel::kOsVersionMeta, "3.0.11171");
    image_->SetMeta(Kernel::kTimeZoneMeta, "Europe/Berlin");
    kernel_.SetClock([] { return kJulyNoon; });
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  Kernel kernel_;
};

TEST_F(KernelTest, LastError) {
  kernel_.SetLastError(1234);
  EXPECT_EQ(kernel_.GetLastError(), 1234u);
  EXPECT_EQ(context_.lastError, 1234u);
}

TEST_F(KernelTest, CloseHandleOfNothing) {
  EXPECT_EQ(kernel_.CloseHandle(0x4242), FALSE);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(KernelTest, VersionFromTheImage) {
  OSVERSIONINFOW info;
  std::memset(&info, 0xBD, sizeof(info));
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_EQ(kernel_.GetVersionExW(&info), TRUE);
  EXPECT_EQ(info.dwOSVersionInfoSize, sizeof(info));
  EXPECT_EQ(info.dwMajorVersion, 3u);
  EXPECT_EQ(info.dwMinorVersion, 0u);
  EXPECT_EQ(info.dwBuildNumber, 11171u);
  EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_CE);
  EXPECT_EQ(info.szCSDVersion[0], 0);
}

TEST_F(KernelTest, VersionWithWrongSizeFails) {
  OSVERSIONINFOW info;
  std::memset(&info, 0xBD, sizeof(info));
  info.dwOSVersionInfoSize = sizeof(info) - 1;
  EXPECT_EQ(kernel_.GetVersionExW(&info), FALSE);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(info.dwMajorVersion, kSentinelDword);
  EXPECT_EQ(info.dwPlatformId, kSentinelDword);
}

TEST_F(KernelTest, TimeZoneOfTheImage) {
  TIME_ZONE_INFORMATION zone;
  std::memset(&zone, 0xBD, sizeof(zone));
  EXPECT_EQ(kernel_.GetTimeZoneInformation(&zone), TIME_ZONE_ID_DAYLIGHT);
  EXPECT_EQ(zone.Bias, -60);
  EXPECT_EQ(zone.DaylightBias, -60);
  EXPECT_EQ(zone.StandardBias, 0);
  EXPECT_EQ(zone.DaylightDate.wMonth, 3);
  EXPECT_EQ(zone.StandardDate.wMonth, 10);
  EXPECT_EQ(zone.StandardName[3], 0);
}

TEST_F(KernelTest, UnknownZoneIsNotImplemented) {
  image_->SetMeta(Kernel::kTimeZoneMeta, "Nowhere/Atlantis");
  TIME_ZONE_INFORMATION zone;
  std::memset(&zone, 0xBD, sizeof(zone));
  EXPECT_EQ(kernel_.GetTimeZoneInformation(&zone), TIME_ZONE_ID_INVALID);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_CALL_NOT_IMPLEMENTED);
  EXPECT_EQ(static_cast<DWORD>(zone.Bias), kSentinelDword);
}

TEST_F(KernelTest, SystemAndLocalTime) {
  SYSTEMTIME utc;
  kernel_.GetSystemTime(&utc);
  EXPECT_EQ(utc.wYear, 2024);
  EXPECT_EQ(utc.wHour, 12);
  EXPECT_EQ(utc.wMilliseconds, 250);
  EXPECT_EQ(utc.wDayOfWeek, 1);
  SYSTEMTIME local;
  kernel_.GetLocalTime(&local);
  EXPECT_EQ(local.wHour, 14);  // summer time in Berlin
  EXPECT_EQ(local.wDay, 15);
}

TEST_F(KernelTest, OnlyThePimServerLoads) {
  EXPECT_EQ(kernel_.LoadLibraryW(u"cemapi.dll"), 0u);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_MOD_NOT_FOUND);
  HMODULE module = kernel_.LoadLibraryW(u"PimStore.DLL");
  ASSERT_NE(module, 0u);
  EXPECT_EQ(kernel_.GetProcAddressW(module, u"DllUnregisterServer"), nullptr);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_PROC_NOT_FOUND);
  FARPROC registerServer =
      kernel_.GetProcAddressW(module, u"DllRegisterServer");
  ASSERT_NE(registerServer, nullptr);
  EXPECT_EQ(registerServer(), S_OK);
  EXPECT_EQ(image_->GetMeta(Kernel::kPimServerRegisteredMeta), "1");
  EXPECT_EQ(kernel_.FreeLibrary(module), TRUE);
  EXPECT_EQ(kernel_.FreeLibrary(module), FALSE);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(kernel_.GetProcAddressW(module, u"DllRegisterServer"), nullptr);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(KernelTest, PimServerFaults) {
  ASSERT_TRUE(faults_.Set("register-fails", "").ok());
  HMODULE module = kernel_.LoadLibraryW(u"pimstore.dll");
  ASSERT_NE(module, 0u);
  FARPROC registerServer =
      kernel_.GetProcAddressW(module, u"DllRegisterServer");
  ASSERT_NE(registerServer, nullptr);
  EXPECT_EQ(registerServer(), E_FAIL);
  EXPECT_EQ(image_->GetMeta(Kernel::kPimServerRegisteredMeta, "none"), "none");
  ASSERT_TRUE(faults_.Set("pimstore-missing", "").ok());
  kernel_.SetLastError(0);
  EXPECT_EQ(kernel_.LoadLibraryW(u"pimstore.dll"), 0u);
  EXPECT_EQ(kernel_.GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(KernelParseTest, OsVersion) {
  DWORD parts[3];
  EXPECT_TRUE(Kernel::ParseOsVersion("4.20.1081", parts));
  EXPECT_EQ(parts[1], 20u);
  EXPECT_FALSE(Kernel::ParseOsVersion("3.0", parts));
  EXPECT_FALSE(Kernel::ParseOsVersion("3.0.x", parts));
  EXPECT_FALSE(Kernel::ParseOsVersion("3.0.1.2", parts));
  EXPECT_FALSE(Kernel::ParseOsVersion("-3.0.1", parts));
  EXPECT_FALSE(Kernel::ParseOsVersion("3.0.99999999999", parts));
}

}  // namespace
}  // namespace device

namespace device {
namespace {

int FirstExport() { return 11; }

class KernelModuleTest : public KernelTest {};

TEST_F(KernelModuleTest, InstalledModuleAnswersByOrdinal) {
  kernel_.InstallModule(
      u"extra.dll", Kernel::Module{[](LPCWSTR name) -> FARPROC {
                                     return OrdinalOf(name) == 5 ? &FirstExport
                                                                 : nullptr;
                                   },
                                   "msgstore-missing"});
  HMODULE module = kernel_.LoadLibraryW(u"\\Windows\\EXTRA.DLL");
  ASSERT_NE(module, 0U);
  FARPROC found = kernel_.GetProcAddressW(module, OrdinalName(5));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found(), 11);
  context_.lastError = 0;
  EXPECT_EQ(kernel_.GetProcAddressW(module, OrdinalName(6)), nullptr);
  EXPECT_EQ(context_.lastError, ERROR_PROC_NOT_FOUND);
  EXPECT_EQ(kernel_.GetProcAddressW(module, u"DllRegisterServer"), nullptr);
  EXPECT_NE(kernel_.LoadLibraryW(u"extra"), 0U);
  EXPECT_EQ(kernel_.FreeLibrary(module), TRUE);

  ASSERT_TRUE(faults_.Set("msgstore-missing", "").ok());
  EXPECT_EQ(kernel_.LoadLibraryW(u"extra.dll"), 0U);
  EXPECT_EQ(context_.lastError, ERROR_MOD_NOT_FOUND);
}

TEST_F(KernelModuleTest, PimServerRefusesOrdinals) {
  HMODULE module = kernel_.LoadLibraryW(u"pimstore.dll");
  ASSERT_NE(module, 0U);
  EXPECT_EQ(kernel_.GetProcAddressW(module, OrdinalName(1)), nullptr);
  EXPECT_EQ(context_.lastError, ERROR_PROC_NOT_FOUND);
}

TEST_F(KernelTest, PrivateHeaps) {
  HANDLE heap = kernel_.HeapCreate(0, 64, 0);
  ASSERT_NE(heap, 0U);
  auto* zeroed =
      static_cast<BYTE*>(kernel_.HeapAlloc(heap, HEAP_ZERO_MEMORY, 8));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(zeroed[i], 0);
  void* other = kernel_.HeapAlloc(heap, 0, 2);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(kernel_.HeapFree(heap, 0, other), TRUE);
  EXPECT_EQ(kernel_.HeapFree(heap, 0, other), FALSE);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(kernel_.HeapAlloc(heap, 0, std::size_t{17} << 20), nullptr);
  EXPECT_EQ(kernel_.HeapDestroy(heap), TRUE);
  EXPECT_EQ(kernel_.HeapDestroy(heap), FALSE);
  EXPECT_EQ(kernel_.HeapAlloc(heap, 0, 2), nullptr);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_HANDLE);

  ASSERT_TRUE(faults_.Set("heap-create-fails", "").ok());
  EXPECT_EQ(kernel_.HeapCreate(0, 64, 0), 0U);
  EXPECT_EQ(context_.lastError, ERROR_NOT_ENOUGH_MEMORY);
}

}  // namespace
}  // namespace device
