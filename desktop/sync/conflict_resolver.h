// Decides which side wins when an item changed on both sides since the last
// run.
//
// handheld  the handheld's version wins (the default)
// desktop   the file wins
// newest    the later change wins. Contacts on the handheld carry no time of
//           change, so the handheld's change is dated in the middle of the
//           time between the last run and this one (when it must have
//           happened); the file's change is dated by its modification time,
//           a deleted file by the start of this run. Equal times go to the
//           handheld.
//
// The losing version is not lost: the engine keeps it under
// DIR/.vorn-conflicts/.
#ifndef VORN_DESKTOP_SYNC_CONFLICT_RESOLVER_H_
#define VORN_DESKTOP_SYNC_CONFLICT_RESOLVER_H_

#include <cstdint>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/sync/sync_changes.h"

namespace desktop {

enum class ConflictPolicy { kHandheld, kDesktop, kNewest };

class ConflictResolver {
 public:
  enum class Winner { kHandheld, kDesktop };

  // Times in seconds since 1970; `last_run` 0 when unknown.
  ConflictResolver(ConflictPolicy policy, std::int64_t last_run,
                   std::int64_t run_start)
      : policy_(policy), last_run_(last_run), run_start_(run_start) {}

  Winner Decide(const DesktopChange& desktop) const;

  // "handheld", "desktop" or "newest".
  static Result<ConflictPolicy> ParsePolicy(std::string_view text);

 private:
  ConflictPolicy policy_;
  std::int64_t last_run_;
  std::int64_t run_start_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_CONFLICT_RESOLVER_H_
