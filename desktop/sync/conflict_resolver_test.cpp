#include "desktop/sync/conflict_resolver.h"

#include <gtest/gtest.h>

namespace desktop {
namespace {

using Winner = ConflictResolver::Winner;

DesktopChange ChangedAt(std::int64_t seconds) {
  DesktopChange change;
  change.entry.mtime = seconds * 1'000'000'000;
  return change;
}

TEST(ConflictResolverTest, FixedPolicies) {
  ConflictResolver handheld(ConflictPolicy::kHandheld, 100, 200);
  ConflictResolver desktop(ConflictPolicy::kDesktop, 100, 200);
  EXPECT_EQ(handheld.Decide(ChangedAt(199)), Winner::kHandheld);
  EXPECT_EQ(desktop.Decide(ChangedAt(101)), Winner::kDesktop);
}

TEST(ConflictResolverTest, NewestDatesTheHandheldInTheMiddle) {
  ConflictResolver newest(ConflictPolicy::kNewest, 100, 200);
  EXPECT_EQ(newest.Decide(ChangedAt(151)), Winner::kDesktop);
  EXPECT_EQ(newest.Decide(ChangedAt(150)), Winner::kHandheld);
  EXPECT_EQ(newest.Decide(ChangedAt(120)), Winner::kHandheld);
  DesktopChange deleted;
  deleted.kind = SideChange::kDeleted;
  EXPECT_EQ(newest.Decide(deleted), Winner::kDesktop);
}

TEST(ConflictResolverTest, PolicyNames) {
  EXPECT_EQ(*ConflictResolver::ParsePolicy("newest"), ConflictPolicy::kNewest);
  EXPECT_EQ(*ConflictResolver::ParsePolicy("desktop"),
            ConflictPolicy::kDesktop);
  EXPECT_FALSE(ConflictResolver::ParsePolicy("oldest").ok());
}

}  // namespace
}  // namespace desktop
