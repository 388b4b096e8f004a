#include "agent/mail/mapi/ce_mapi_loader.h"

#include <gtest/gtest.h>

#include "device/device.h"
#include "platform/api.h"

namespace agent {
namespace {

class CeMapiLoaderTest : public ::testing::Test {
 protected:
  std::unique_ptr<device::Device> device_ = device::Device::InMemory();
  device::ScopedServices services_{device_->services()};
};

TEST_F(CeMapiLoaderTest, HresultFromTheLastError) {
  SetLastError(0);
  EXPECT_EQ(CeMapiLoader::HresultFromLastError(), 0);
  SetLastError(ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(CeMapiLoader::HresultFromLastError(),
            static_cast<HRESULT>(0x8007007EU));
  SetLastError(0x0012ABCD);
  EXPECT_EQ(CeMapiLoader::HresultFromLastError(),
            static_cast<HRESULT>(0x8007ABCDU));
  SetLastError(0x80004005U);
  EXPECT_EQ(CeMapiLoader::HresultFromLastError(),
            static_cast<HRESULT>(0x80004005U));
}

TEST_F(CeMapiLoaderTest, LogonGivesASession) {
  IMAPISession* session = nullptr;
  ASSERT_EQ(CeMapiLoader::Logon(0, nullptr, nullptr, 0, &session), S_OK);
  ASSERT_NE(session, nullptr);
  SRowSet* none = nullptr;
  EXPECT_EQ(CeMapiLoader::FreeRows(none), S_OK);
  EXPECT_EQ(CeMapiLoader::FreeBuffer(nullptr), S_OK);
}

TEST_F(CeMapiLoaderTest, WithoutTheLibraryTheCallsReportTheLastError) {
  // Loaded once, the module stays loaded for the process; the handheld
  // without the library then finds no exports behind it.
  IMAPISession* loaded = nullptr;
  ASSERT_EQ(CeMapiLoader::Logon(0, nullptr, nullptr, 0, &loaded), S_OK);
  ASSERT_TRUE(device_->faults().Set("mapi-missing", "").ok());
  auto* sentinel = reinterpret_cast<IMAPISession*>(0xBDBDBDBD);
  IMAPISession* session = sentinel;
  EXPECT_EQ(CeMapiLoader::Logon(0, nullptr, nullptr, 0, &session),
            static_cast<HRESULT>(0x80070006U));  // ERROR_INVALID_HANDLE
  EXPECT_EQ(session, sentinel);
  EXPECT_EQ(CeMapiLoader::FreeBuffer(nullptr),
            static_cast<HRESULT>(0x80070006U));
}

}  // namespace
}  // namespace agent
