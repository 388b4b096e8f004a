#include "tests/support/version_line.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "vorn_version.h"

namespace testing_support {

void ExpectVersionLine(const std::string& out, const std::string& program) {
  EXPECT_EQ(out, program + " " + VORN_VERSION_LINE + "\n");
  EXPECT_EQ(std::string(VORN_VERSION_LINE).rfind(VORN_VERSION, 0), 0u);
  if (std::filesystem::exists(std::filesystem::path(VORN_SOURCE_DIR) /
                              ".git")) {
    EXPECT_TRUE(std::regex_search(
        out, std::regex(R"( \(commit [0-9a-f]{12}(-dirty)?\)\n$)")))
        << out;
  }
}

}  // namespace testing_support
