#include "device/rapi/rapi_modules.h"

#include <gtest/gtest.h>

namespace device {
namespace {

HRESULT First(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream*) { return 1; }
HRESULT Second(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream*) { return 2; }

TEST(RapiModulesTest, ModulesMatchWithoutCaseAndSuffix) {
  RapiModules modules;
  modules.Add(u"VORNAPIMGR", u"rsCeApiMgr", &First);
  for (std::u16string_view name :
       {u"VORNAPIMGR", u"vornapimgr", u"VornApiMgr.dll", u"VORNAPIMGR.DLL"}) {
    RapiModules::Lookup found = modules.Find(name, u"rsCeApiMgr");
    EXPECT_EQ(found.entry, &First);
    EXPECT_EQ(found.lastError, 0u);
  }
}

TEST(RapiModulesTest, UnknownModulesAndFunctionsGiveThePlatformsCodes) {
  RapiModules modules;
  modules.Add(u"VORNAPIMGR", u"rsCeApiMgr", &First);
  modules.Add(u"OTHER", u"Call", &Second);
  EXPECT_EQ(modules.Find(u"OTHER", u"Call").entry, &Second);
  RapiModules::Lookup noModule = modules.Find(u"VORNAPI", u"rsCeApiMgr");
  EXPECT_EQ(noModule.entry, nullptr);
  EXPECT_EQ(noModule.lastError, 126u);
  EXPECT_EQ(modules.Find(u".dll", u"rsCeApiMgr").lastError, 126u);
  // Exports match exactly.
  RapiModules::Lookup noFunction = modules.Find(u"VORNAPIMGR", u"RSCEAPIMGR");
  EXPECT_EQ(noFunction.entry, nullptr);
  EXPECT_EQ(noFunction.lastError, 127u);
  EXPECT_EQ(modules.Find(u"VORNAPIMGR", u"Call").lastError, 127u);
}

}  // namespace
}  // namespace device
