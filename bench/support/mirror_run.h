// One run of the desktop's sync engine against a benchmark handheld served
// over a loopback socket, and the raw socket it is compared with.
#ifndef VORN_BENCH_SUPPORT_MIRROR_RUN_H_
#define VORN_BENCH_SUPPORT_MIRROR_RUN_H_

#include <cstdint>
#include <functional>
#include <random>
#include <string>

#include "bench/support/bench_handheld.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_summary.h"

namespace bench {

struct Run {
  desktop::SyncSummary summary;
  double seconds = 0;  // connect to end of session
};

// The sync engine's run on `dir` against `handheld` (partner "sync-bench")
// for the data type of `adapter` (null: contacts).
Run Mirror(Handheld& handheld, const Listener& listener, const std::string& dir,
           const desktop::SyncAdapter* adapter = nullptr);

// The median of three runs, each after `edit` made fresh changes; dies when
// one of them is a full run.
Run MedianOfThree(Handheld& handheld, const Listener& listener,
                  const std::string& dir, const std::function<void()>& edit,
                  const desktop::SyncAdapter* adapter = nullptr);

// Rewrites `edits` files of `dir` whose names end in `extension`, picked at
// random, as a desktop program would: `edit` changes the text (the i-th
// edit), then a temporary file replaces the file through a rename.
void EditFiles(
    const std::string& dir, const std::string& extension, std::uint32_t edits,
    std::mt19937& random,
    const std::function<void(std::string& text, std::uint32_t i)>& edit);

// Pushes `bytes` through a loopback socket; returns MB/s.
double RawLoopback(const Listener& listener, std::uint64_t bytes);

}  // namespace bench

#endif  // VORN_BENCH_SUPPORT_MIRROR_RUN_H_
