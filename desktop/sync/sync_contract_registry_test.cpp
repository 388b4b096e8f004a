#include "desktop/sync/sync_contract_registry.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace desktop {
namespace {

// A contracts file as vorn has always written it.
constexpr char kWritten[] =
    "{\n"
    "  \"contracts\": [\n"
    "    {\n"
    "      \"partner\": \"vorn-a\",\n"
    "      \"machine_id\": \"PDA-1\",\n"
    "      \"directory\": \"/home/u/cards\",\n"
    "      \"last_run\": \"2024-05-01T10:00:00Z\"\n"
    "    }\n"
    "  ]\n"
    "}\n";

class SyncContractRegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-registry-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    path_ = root_ + "/vorn/contracts.json";
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  void WriteFile(const std::string& text) {
    std::filesystem::create_directories(root_ + "/vorn");
    std::ofstream(path_, std::ios::binary) << text;
  }
  std::string ReadFile() const {
    std::ifstream file(path_, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
  }
  std::string root_;
  std::string path_;
};

TEST_F(SyncContractRegistryTest, MissingFileIsEmpty) {
  auto registry = SyncContractRegistry::Load(path_);
  ASSERT_TRUE(registry.ok()) << registry.status().message();
  EXPECT_TRUE(registry->entries().empty());
}

TEST_F(SyncContractRegistryTest, ReadsAndRewritesAnExistingFile) {
  WriteFile(kWritten);
  auto registry = SyncContractRegistry::Load(path_);
  ASSERT_TRUE(registry.ok()) << registry.status().message();
  ASSERT_EQ(registry->entries().size(), 1u);
  EXPECT_EQ(registry->entries()[0],
            (SyncContractRegistry::Entry{"vorn-a", "PDA-1", "/home/u/cards",
                                         "2024-05-01T10:00:00Z"}));
  ASSERT_TRUE(registry->Save().ok());
  EXPECT_EQ(ReadFile(), kWritten);
}

TEST_F(SyncContractRegistryTest, RoundTripsEntries) {
  auto registry = SyncContractRegistry::Load(path_);
  ASSERT_TRUE(registry.ok());
  registry->Upsert({"p\xC3\xA9 \"1\"", "M\\1", "/d/1", ""});
  registry->Upsert({"p2", "M2", "/d/2", "2024-01-01T00:00:00Z"});
  ASSERT_TRUE(registry->Save().ok());
  auto again = SyncContractRegistry::Load(path_);
  ASSERT_TRUE(again.ok()) << again.status().message();
  EXPECT_EQ(again->entries(), registry->entries());
}

TEST_F(SyncContractRegistryTest, BadJsonNamesFileLineAndColumn) {
  WriteFile("{\n  \"contracts\": [\n    {\"partner\": \"a\",}\n  ]\n}\n");
  auto registry = SyncContractRegistry::Load(path_);
  ASSERT_FALSE(registry.ok());
  const std::string& message = registry.status().message();
  EXPECT_NE(message.find(path_), std::string::npos) << message;
  EXPECT_NE(message.find("at line 3, column "), std::string::npos) << message;
  EXPECT_EQ(message.find('\n'), std::string::npos) << message;
}

TEST_F(SyncContractRegistryTest, FileWithoutTheListIsRefused) {
  WriteFile("{\"other\": []}");
  EXPECT_FALSE(SyncContractRegistry::Load(path_).ok());
}

}  // namespace
}  // namespace desktop
