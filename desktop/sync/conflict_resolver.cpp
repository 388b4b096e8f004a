#include "desktop/sync/conflict_resolver.h"

#include <string>

namespace desktop {

ConflictResolver::Winner ConflictResolver::Decide(
    const DesktopChange& desktop) const {
  switch (policy_) {
    case ConflictPolicy::kHandheld:
      return Winner::kHandheld;
    case ConflictPolicy::kDesktop:
      return Winner::kDesktop;
    case ConflictPolicy::kNewest:
      break;
  }
  std::int64_t since = last_run_ > 0 ? last_run_ : run_start_;
  // Doubled times keep the midpoint exact.
  std::int64_t handheld_time2 = since + run_start_;
  std::int64_t desktop_time2 = desktop.kind == SideChange::kDeleted
                                   ? 2 * run_start_
                                   : 2 * (desktop.entry.mtime / 1'000'000'000);
  return desktop_time2 > handheld_time2 ? Winner::kDesktop : Winner::kHandheld;
}

Result<ConflictPolicy> ConflictResolver::ParsePolicy(std::string_view text) {
  if (text == "handheld") return ConflictPolicy::kHandheld;
  if (text == "desktop") return ConflictPolicy::kDesktop;
  if (text == "newest") return ConflictPolicy::kNewest;
  return Status::Error("unknown conflict policy \"" + std::string(text) +
                       "\" (handheld, desktop, newest)");
}

}  // namespace desktop
