#include "device/com/com.h"

#include <gtest/gtest.h>

#include "device/device.h"
#include "platform/pimstore.h"

namespace device {
namespace {

// {00000000-0000-0000-C000-000000000046}
constexpr IID kIidUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class ComTest : public ::testing::Test {
 protected:
  ComTest() : device_(Device::InMemory()) { device_->BeginConversation(); }

  HRESULT Create(void** object, REFCLSID clsid = CLSID_Application,
                 REFIID iid = IID_IPOutlookApp) {
    return device_->com().CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER,
                                           iid, object);
  }

  std::unique_ptr<Device> device_;
};

TEST_F(ComTest, InitializeTwice) {
  EXPECT_EQ(device_->com().CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_EQ(device_->com().CoInitializeEx(nullptr, COINIT_MULTITHREADED),
            S_FALSE);
  device_->EndConversation();
  device_->BeginConversation();
  EXPECT_EQ(device_->com().CoInitializeEx(nullptr, 0), S_OK);
}

TEST_F(ComTest, CreateNeedsCom) {
  void* object = reinterpret_cast<void*>(0xBDBDBDBD);
  EXPECT_EQ(Create(&object), CO_E_NOTINITIALIZED);
  EXPECT_EQ(object, nullptr);
}

TEST_F(ComTest, CreatesTheApplication) {
  device_->com().CoInitializeEx(nullptr, 0);
  void* object = nullptr;
  ASSERT_EQ(Create(&object), S_OK);
  ASSERT_NE(object, nullptr);
  auto* app = static_cast<IPOutlookApp*>(object);
  EXPECT_EQ(app->Release(), 0u);
}

TEST_F(ComTest, OtherClassesAndInterfaces) {
  device_->com().CoInitializeEx(nullptr, 0);
  void* object = reinterpret_cast<void*>(0xBDBDBDBD);
  EXPECT_EQ(Create(&object, kIidUnknown), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);
  object = reinterpret_cast<void*>(0xBDBDBDBD);
  EXPECT_EQ(Create(&object, CLSID_Application, kIidUnknown), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Create(nullptr), E_POINTER);
}

TEST_F(ComTest, FirstCreationFailsInEachConversation) {
  ASSERT_TRUE(device_->faults().Set("cocreate-fails", "").ok());
  for (int conversation = 0; conversation < 2; ++conversation) {
    device_->com().CoInitializeEx(nullptr, 0);
    void* object = nullptr;
    EXPECT_EQ(Create(&object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(Create(&object), S_OK);
    static_cast<IPOutlookApp*>(object)->Release();
    device_->EndConversation();
    device_->BeginConversation();
  }
}

TEST_F(ComTest, CreationAlwaysFails) {
  ASSERT_TRUE(device_->faults().Set("cocreate-fails-always", "").ok());
  device_->com().CoInitializeEx(nullptr, 0);
  void* object = nullptr;
  EXPECT_EQ(Create(&object), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(Create(&object), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);
}

TEST_F(ComTest, CallsAreRecorded) {
  device_->com().CoInitializeEx(nullptr, 0);
  device_->com().CoFreeUnusedLibraries();
  Statement rows = device_->image().Prepare(
      "SELECT call, result FROM com_calls ORDER BY sequence");
  ASSERT_TRUE(rows.Step());
  EXPECT_EQ(rows.Text(0), "CoInitializeEx");
  ASSERT_TRUE(rows.Step());
  EXPECT_EQ(rows.Text(0), "CoFreeUnusedLibraries");
}

}  // namespace
}  // namespace device
