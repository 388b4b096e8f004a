#include "desktop/sync/uid_file_stem.h"

#include <gtest/gtest.h>

#include "desktop/sync/content_hash.h"

namespace desktop {
namespace {

TEST(UidFileStemTest, FileStemsAreSafe) {
  EXPECT_EQ(UidFileStem::Of("urn:uuid:6f1d4c2a-93b8-4e57-a0c1-5d2b7e9f3a61"),
            "6f1d4c2a-93b8-4e57-a0c1-5d2b7e9f3a61");
  EXPECT_EQ(UidFileStem::Of("a/b c@x.org"), "a%2Fb%20c@x.org");
  EXPECT_EQ(UidFileStem::Of("..x"), "%2E.x");
  EXPECT_FALSE(UidFileStem::Of("").empty());
  std::string stem = UidFileStem::Of(std::string(300, 'a'));
  EXPECT_EQ(stem.size(), 120u);
  EXPECT_NE(stem, UidFileStem::Of(std::string(301, 'a')));
}

TEST(ContentHashTest, Sha256InHex) {
  EXPECT_EQ(ContentHash::Of("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace desktop
