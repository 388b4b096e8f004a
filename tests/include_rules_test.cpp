// The arrows between the subsystem folders. Every quoted include names the
// folder it reaches; a folder may reach only the folders listed for it
// below (and itself). The agent sees the handheld only through the
// platform layer and the standard library; the emulated handheld never sees
// the agent or the desktop; the desktop never sees the handheld's insides.
// The same table is drawn in docs/architecture.md.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Folder -> the folders its non-test sources may include. A folder listed
// with subfolders of its own ("device") means its own files only.
const std::map<std::string, std::set<std::string>> kAllowed = {
    {"protocol", {}},
    {"platform", {"protocol"}},
    {"agent", {"protocol", "platform"}},
    {"device/image", {"platform", "protocol"}},
    {"device/kernel", {"device/image", "platform", "protocol"}},
    {"device/objstore", {"device/image", "platform", "protocol"}},
    {"device/registry",
     {"device/objstore", "device/image", "platform", "protocol"}},
    {"device/ui", {"device/objstore", "device/image", "platform", "protocol"}},
    {"device/fs", {"device/image", "platform", "protocol"}},
    {"device/richink", {"device/image", "platform", "protocol"}},
    {"device/mapi", {"device/image", "platform", "protocol"}},
    {"device/pim",
     {"device/objstore", "device/registry", "device/kernel", "device/image",
      "platform", "protocol"}},
    {"device/com",
     {"device/pim", "device/objstore", "device/image", "platform", "protocol"}},
    {"device/msgstore",
     {"device/pim", "device/fs", "device/objstore", "device/image", "platform",
      "protocol"}},
    {"device",
     {"device/image", "device/kernel", "device/objstore", "device/registry",
      "device/ui", "device/fs", "device/pim", "device/com", "device/richink",
      "device/mapi", "device/msgstore", "platform", "protocol"}},
    {"device/stream", {"device", "device/image", "platform", "protocol"}},
    {"device/rapi",
     {"device/stream", "device", "device/image", "platform", "protocol"}},
    {"desktop/base", {}},
    {"desktop/transport", {"desktop/base", "protocol"}},
    {"desktop/wire", {"desktop/transport", "desktop/base", "protocol"}},
    {"desktop/formats",
     {"desktop/wire", "desktop/transport", "desktop/base", "protocol"}},
    {"desktop/sync",
     {"desktop/formats", "desktop/wire", "desktop/transport", "desktop/base",
      "protocol"}},
};

// Tests beside the code may also reach these (the agent's tests drive it on
// the emulated handheld; desktop tests build packets with the shared
// helpers). Never across the agent/desktop/device walls otherwise.
const std::map<std::string, std::set<std::string>> kAllowedInTests = {
    {"agent", {"device", "tests/support"}},
    {"device", {"tests/support"}},
    {"desktop", {"tests/support"}},
};

// Folders no file under the key may include, tests or not.
const std::map<std::string, std::set<std::string>> kForbidden = {
    {"agent", {"desktop"}},
    {"device", {"agent", "desktop"}},
    {"desktop", {"device", "agent", "platform"}},
};

// The standard headers the agent may use (it runs on the handheld's C++
// runtime: no POSIX, no SQLite).
const std::set<std::string> kAgentStandardHeaders = {
    "algorithm",        "array",        "cstddef",
    "cstdint",          "cstring",      "cstdlib",
    "iterator",         "memory",       "new",
    "optional",         "span",         "string",
    "string_view",      "utility",      "vector",
    "stdexcept",        "limits",       "type_traits",
    "initializer_list", "map",          "set",
    "functional",       "cstdio",       "tuple",
    "sstream",          "unordered_map"};
const std::set<std::string> kAgentTestHeaders = {"gtest/gtest.h", "filesystem",
                                                 "fstream", "regex", "random"};

struct Include {
  std::string file;    // relative to the source root
  std::string header;  // as written
  bool quoted;
  bool test;
};

std::string Top(const std::string& path) {
  return path.substr(0, path.find('/'));
}

// The folder of a path: the longest folder of the table containing it, or
// the top-level folder.
std::string FolderOf(const std::string& path) {
  std::string best;
  for (const auto& [folder, unused] : kAllowed) {
    if (path.rfind(folder + "/", 0) == 0 && folder.size() > best.size()) {
      best = folder;
    }
  }
  return best.empty() ? Top(path) : best;
}

bool StartsWithFolder(const std::string& path, const std::string& folder) {
  return path.rfind(folder + "/", 0) == 0;
}

std::vector<Include> ScanIncludes(const fs::path& root) {
  static const std::regex kInclude(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
  std::vector<Include> found;
  for (const char* top :
       {"agent", "platform", "protocol", "device", "desktop"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      auto ext = entry.path().extension();
      if (ext != ".h" && ext != ".cpp") continue;
      std::string file = fs::relative(entry.path(), root).generic_string();
      bool test = file.ends_with("_test.cpp") || file.ends_with("_test.h") ||
                  file.find("test_support") != std::string::npos;
      std::ifstream in(entry.path());
      std::string line;
      while (std::getline(in, line)) {
        std::smatch match;
        if (std::regex_search(line, match, kInclude)) {
          found.push_back({file, match[2], match[1] == "\"", test});
        }
      }
    }
  }
  return found;
}

// Whether `include` keeps to the table; the reason when it does not.
std::string Check(const Include& include) {
  const std::string from = FolderOf(include.file);
  const std::string top = Top(include.file);
  if (!include.quoted) {
    if (top != "agent") return "";
    if (kAgentStandardHeaders.count(include.header) == 1) return "";
    if (include.test && kAgentTestHeaders.count(include.header) == 1) {
      return "";
    }
    return "the agent uses only the standard library";
  }
  const std::string to = FolderOf(include.header);
  for (const auto& wall : kForbidden) {
    if (top != wall.first) continue;
    for (const auto& folder : wall.second) {
      if (StartsWithFolder(include.header, folder)) {
        std::string why = top;
        why += "/ never includes ";
        why += folder;
        why += "/";
        return why;
      }
    }
  }
  if (to == from) return "";
  auto allowed = kAllowed.find(from);
  if (allowed != kAllowed.end() && allowed->second.count(to) == 1) return "";
  if (include.test) {
    auto extra = kAllowedInTests.find(top);
    if (extra != kAllowedInTests.end()) {
      if (Top(to) == top) return "";  // a test may use its whole program
      for (const auto& folder : extra->second) {
        if (to == folder || StartsWithFolder(include.header, folder)) {
          return "";
        }
      }
    }
  }
  std::string why = from;
  why += "/ may not include ";
  why += to;
  why += "/";
  return why;
}

TEST(IncludeRulesTest, EveryIncludeFollowsTheArrows) {
  auto includes = ScanIncludes(VORN_SOURCE_DIR);
  ASSERT_GT(includes.size(), 500u);
  for (const auto& include : includes) {
    std::string why = Check(include);
    EXPECT_TRUE(why.empty())
        << include.file << " includes " << include.header << ": " << why;
  }
}

TEST(IncludeRulesTest, NoCycleBetweenFolders) {
  std::map<std::string, std::set<std::string>> edges;
  for (const auto& include : ScanIncludes(VORN_SOURCE_DIR)) {
    if (!include.quoted || include.test) continue;
    std::string from = FolderOf(include.file);
    std::string to = FolderOf(include.header);
    if (from != to) edges[from].insert(to);
  }
  ASSERT_FALSE(edges.empty());
  // Depth-first search; a folder met again while on the path is a cycle.
  std::map<std::string, int> state;  // 1 on the path, 2 finished
  std::vector<std::string> path;
  std::function<void(const std::string&)> visit = [&](const std::string& at) {
    state[at] = 1;
    path.push_back(at);
    for (const auto& next : edges[at]) {
      if (state[next] == 1) {
        std::string cycle;
        for (const auto& step : path) cycle += step + " -> ";
        ADD_FAILURE() << "cycle: " << cycle << next;
      } else if (state[next] == 0) {
        visit(next);
      }
    }
    path.pop_back();
    state[at] = 2;
  };
  for (const auto& [folder, unused] : edges) {
    if (state[folder] == 0) visit(folder);
  }
}

// The checker itself: a device file that reaches into the agent, a desktop
// file that reaches into the handheld and an arrow against the layering are
// all refused; the table's own arrows pass.
TEST(IncludeRulesTest, RefusesIncludesAgainstTheArrows) {
  EXPECT_NE(Check({"device/pim/outlook_app.cpp", "agent/session/session_loop.h",
                   true, false}),
            "");
  EXPECT_NE(Check({"device/pim/outlook_app_test.cpp",
                   "agent/session/session_loop.h", true, true}),
            "");
  EXPECT_NE(
      Check({"desktop/sync/sync_engine.cpp", "device/device.h", true, false}),
      "");
  EXPECT_NE(
      Check({"desktop/sync/sync_engine.cpp", "platform/types.h", true, false}),
      "");
  EXPECT_NE(Check({"desktop/wire/reply_reader.cpp", "desktop/sync/sync_state.h",
                   true, false}),
            "");
  EXPECT_NE(Check({"device/image/device_image.cpp",
                   "device/objstore/record_value.h", true, false}),
            "");
  EXPECT_NE(
      Check({"agent/session/session_loop.cpp", "sqlite3.h", false, false}), "");
  EXPECT_NE(
      Check({"agent/session/session_loop.cpp", "device/device.h", true, false}),
      "");
  EXPECT_EQ(Check({"desktop/sync/sync_engine.cpp", "desktop/formats/vcard.h",
                   true, false}),
            "");
  EXPECT_EQ(
      Check({"agent/pim/ce_contact_test.cpp", "device/device.h", true, true}),
      "");
  EXPECT_EQ(
      Check({"device/com/com.cpp", "device/pim/outlook_app.h", true, false}),
      "");
}

}  // namespace
