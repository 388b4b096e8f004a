// The agent sees the handheld only through the platform layer: its sources
// include standard headers, protocol/, platform/ and its own headers, and
// never the emulated handheld, SQLite or host system headers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>

namespace {

const std::set<std::string> kStandardHeaders = {
    "algorithm",        "array",   "cstddef",
    "cstdint",          "cstring", "cstdlib",
    "iterator",         "memory",  "new",
    "optional",         "span",    "string",
    "string_view",      "utility", "vector",
    "stdexcept",        "limits",  "type_traits",
    "initializer_list", "map",     "set",
    "functional",       "cstdio",  "gtest/gtest.h",
    "filesystem",       "fstream", "regex",
    "sstream",          "tuple",   "unordered_map"};

TEST(AgentBoundaryTest, IncludesOnlyStandardProtocolAndPlatformHeaders) {
  std::filesystem::path root = std::filesystem::path(VORN_SOURCE_DIR) / "agent";
  std::regex include(R"(^\s*#\s*include\s*[<"]([^>"]+)[>"])");
  int files = 0;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(root)) {
    auto ext = entry.path().extension();
    if (ext != ".h" && ext != ".cpp") continue;
    ++files;
    std::ifstream in(entry.path());
    std::string line;
    while (std::getline(in, line)) {
      std::smatch match;
      if (!std::regex_search(line, match, include)) continue;
      std::string header = match[1];
      bool allowed = header.rfind("agent/", 0) == 0 ||
                     header.rfind("platform/", 0) == 0 ||
                     header.rfind("protocol/", 0) == 0 ||
                     header.rfind("tests/support/", 0) == 0 ||
                     header.rfind("device/", 0) == 0 ||
                     kStandardHeaders.count(header) == 1;
      bool isTest = entry.path().filename().string().find("_test.cpp") !=
                    std::string::npos;
      if (header.rfind("device/", 0) == 0 || header.rfind("tests/", 0) == 0) {
        allowed = isTest;  // tests drive the agent on the emulated handheld
      }
      EXPECT_TRUE(allowed) << entry.path() << " includes " << header;
    }
  }
  EXPECT_GT(files, 10);
}

}  // namespace
