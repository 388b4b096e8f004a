#include "device/device.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "device/kernel/kernel.h"
#include "device/registry/registry.h"

namespace device {
namespace {

namespace fs = std::filesystem;

class DeviceInitTest : public ::testing::Test {
 protected:
  DeviceInitTest() {
    dir_ = fs::temp_directory_path() /
           ("vorn-device-test-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  ~DeviceInitTest() override { fs::remove_all(dir_); }

  std::string Path(const char* name) const { return (dir_ / name).string(); }
  bool DirectoryIsEmpty() const { return fs::is_empty(dir_); }

  static std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  fs::path dir_;
};

TEST_F(DeviceInitTest, CreatesTheInitialState) {
  InitOptions options;
  options.os = "4.20.1081";
  options.timeZone = "Europe/Berlin";
  options.machineId = "MY-HANDHELD";
  ASSERT_TRUE(Device::Init(Path("a.img"), options).ok());
  auto device = Device::Open(Path("a.img"));
  ASSERT_TRUE(device.ok()) << device.status().message();
  Registry& registry = (*device)->registry();
  auto id = registry.Get("HKLM\\SOFTWARE\\Orvanet", "MachineID");
  ASSERT_TRUE(id.ok());
  EXPECT_EQ(id->type, 1u);
  EXPECT_EQ(Registry::Describe(*id), "MY-HANDHELD");
  auto pim = registry.Get("HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook");
  ASSERT_TRUE(pim.ok());
  EXPECT_EQ(Registry::Describe(*pim), "1");
  EXPECT_EQ((*device)->image().GetMeta(Kernel::kOsVersionMeta), "4.20.1081");
  EXPECT_EQ((*device)->image().GetMeta(Kernel::kTimeZoneMeta), "Europe/Berlin");
}

TEST_F(DeviceInitTest, GeneratesAMachineId) {
  ASSERT_TRUE(Device::Init(Path("a.img"), {}).ok());
  ASSERT_TRUE(Device::Init(Path("b.img"), {}).ok());
  auto a = Device::Open(Path("a.img"));
  auto b = Device::Open(Path("b.img"));
  ASSERT_TRUE(a.ok() && b.ok());
  std::string idA = Registry::Describe(
      *(*a)->registry().Get("HKLM\\SOFTWARE\\Orvanet", "MachineID"));
  std::string idB = Registry::Describe(
      *(*b)->registry().Get("HKLM\\SOFTWARE\\Orvanet", "MachineID"));
  EXPECT_EQ(idA.size(), 32u);
  EXPECT_EQ(idA.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_NE(idA, idB);
}

TEST_F(DeviceInitTest, BadOptionsLeaveNothingBehind) {
  InitOptions badOs;
  badOs.os = "3.0";
  EXPECT_FALSE(Device::Init(Path("a.img"), badOs).ok());
  InitOptions badZone;
  badZone.timeZone = "Mars/Olympus_Mons";
  EXPECT_FALSE(Device::Init(Path("a.img"), badZone).ok());
  InitOptions badId;
  badId.machineId = "line\nbreak";
  EXPECT_FALSE(Device::Init(Path("a.img"), badId).ok());
  EXPECT_TRUE(DirectoryIsEmpty());
}

TEST_F(DeviceInitTest, RefusesAnExistingFile) {
  std::ofstream(Path("a.img")) << "precious";
  EXPECT_FALSE(Device::Init(Path("a.img"), {}).ok());
  EXPECT_EQ(Contents(Path("a.img")), "precious");
}

TEST_F(DeviceInitTest, RefusesWhatIsNotAnImage) {
  std::ofstream(Path("text")) << "not an image at all, just some words";
  EXPECT_FALSE(Device::Open(Path("text")).ok());
  EXPECT_EQ(Contents(Path("text")), "not an image at all, just some words");
  EXPECT_FALSE(Device::Open(Path("missing")).ok());
  EXPECT_FALSE(fs::exists(Path("missing")));

  ASSERT_TRUE(Device::Init(Path("a.img"), {}).ok());
  std::string whole = Contents(Path("a.img"));
  std::ofstream(Path("cut.img"), std::ios::binary)
      << whole.substr(0, whole.size() / 2);
  EXPECT_FALSE(Device::Open(Path("cut.img")).ok());
  EXPECT_EQ(Contents(Path("cut.img")).size(), whole.size() / 2);
}

TEST(DeviceTest, InMemoryServices) {
  auto device = Device::InMemory();
  platform::Services services = device->services();
  EXPECT_NE(services.kernel, nullptr);
  EXPECT_NE(services.registry, nullptr);
  EXPECT_NE(services.com, nullptr);
  EXPECT_NE(services.ui, nullptr);
  EXPECT_NE(services.objectStore, nullptr);
  EXPECT_NE(services.files, nullptr);
}

TEST(DeviceTest, RewindDropsEverythingSinceHold) {
  auto device = Device::InMemory();
  device->image().SetMeta("kept", "1");
  device->Hold();
  EXPECT_TRUE(device->image().held());
  device->image().SetMeta("kept", "2");
  ASSERT_TRUE(device->faults().Set("cocreate-fails", "").ok());
  std::uint32_t oid = device->image().NewOid();
  device->Rewind();
  EXPECT_EQ(device->image().GetMeta("kept"), "1");
  EXPECT_FALSE(device->faults().IsSet("cocreate-fails"));
  // The same identifier again: the counter went back too.
  EXPECT_EQ(device->image().NewOid(), oid);
  device->Rewind();
  EXPECT_EQ(device->image().NewOid(), oid);
}

TEST(DeviceTest, StepsInsideAHoldCommitAndRollBack) {
  auto device = Device::InMemory();
  device->Hold();
  DeviceImage& image = device->image();
  EXPECT_FALSE(image.InTransaction());
  EXPECT_TRUE(image.Begin());
  EXPECT_TRUE(image.InTransaction());
  EXPECT_FALSE(image.Begin());
  image.SetMeta("step", "committed");
  image.Commit();
  EXPECT_FALSE(image.InTransaction());
  image.Begin();
  image.SetMeta("step", "rolled back");
  image.Rollback();
  EXPECT_EQ(image.GetMeta("step"), "committed");
  device->Rewind();
  EXPECT_EQ(image.GetMeta("step"), "");
}

TEST(DeviceTest, RewindClosesWhatWasLeftOpen) {
  auto device = Device::InMemory();
  device->Hold();
  device->handles().Add(std::make_unique<KernelObject>());
  ASSERT_EQ(device->handles().OpenCount(), 1U);
  device->Rewind();
  EXPECT_EQ(device->handles().OpenCount(), 0U);
}

}  // namespace
}  // namespace device
