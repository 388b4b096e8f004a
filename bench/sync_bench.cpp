// sync_bench: the desktop's contact mirror against an emulated handheld
// served over a loopback socket, in one process.
//
// For each size N: builds a handheld of N contacts through the object model
// with the change-log writer hooked in (as the handheld's own applications
// edit contacts), mirrors it into a temporary directory with the sync
// engine, applies k edits on the handheld (adds, changes and deletes) and
// mirrors again incrementally. A full mirror lists at most 55294 contacts
// in one reply, so larger handhelds are mirrored while they grow: a full
// mirror at 50,000 contacts, then incremental catch-ups of at most 40,000
// new contacts each.
//
// Then k edits on each side (the handheld's as above, and k cards of the
// directory rewritten as a user's address book would) and a two-way run.
//
// Prints a table and, as the last line of standard output, one JSON object.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bench/support/bench_handheld.h"
#include "bench/support/mirror_run.h"
#include "bench/support/stage_benchmarks.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/sync_engine.h"
#include "device/device.h"

namespace {

using bench::Clock;
using bench::Die;
using bench::Handheld;
using bench::Listener;
using bench::MedianOfThree;
using bench::Mirror;
using bench::RawLoopback;
using bench::Run;
using bench::Since;

constexpr std::uint32_t kFirstFull = 50'000;
constexpr std::uint32_t kCatchUpStep = 40'000;
// The contacts pushed with BatchWrite, and the one-record packets that
// measure what a durable commit costs.
constexpr std::uint32_t kPushCount = 10'000;
constexpr std::uint32_t kCommitPackets = 200;

struct SizeResult {
  std::uint32_t size = 0;
  double build_seconds = 0;
  bool full_is_whole = true;  // false: grown through catch-up runs
  Run full;
  // The full mirror's stages alone, measured right after it (whole full
  // mirrors only).
  bench::StageResult serving;
  bench::StageResult decoding;
  bench::StageResult file_floor;
  double catch_up_seconds = 0;
  std::uint64_t catch_up_records = 0;
  Run incremental;
  Run two_way;  // after k edits on each side
  double raw_mb_per_second = 0;
};

// Rewrites `edits` cards of the mirror's contacts directory as an address
// book program would: a new NOTE, the file replaced through a rename.
void EditDirectory(const std::string& contacts, std::uint32_t edits,
                   std::mt19937& random) {
  bench::EditFiles(
      contacts, ".vcf", edits, random, [](std::string& text, std::uint32_t i) {
        std::size_t end = text.find("END:VCARD");
        if (end == std::string::npos) Die("not a card");
        text.insert(end,
                    "NOTE:edited on the desktop " + std::to_string(i) + "\r\n");
      });
}

// Temporary directories, removed at exit: removing thousands of files
// between sizes would slow the file creations of the next size (the file
// system avoids reusing inodes it freed moments ago).
std::vector<std::string> g_temporaries;

SizeResult Measure(std::uint32_t size, std::uint32_t edits,
                   const Listener& listener) {
  SizeResult result;
  result.size = size;
  // Mirrors go to memory (/dev/shm) unless TMPDIR names a place: on a disk,
  // the host file system's inode allocator slows file creation as a
  // directory fills, which would measure the host rather than the mirror.
  std::string root = bench::MakeTempDir();
  std::string dir = root + "/cards";

  Handheld handheld;
  auto start = Clock::now();
  std::uint32_t first = std::min(size, kFirstFull);
  handheld.AddContacts(first);
  result.build_seconds = Since(start);
  result.full = Mirror(handheld, listener, dir);
  result.full_is_whole = first == size;
  if (result.full_is_whole) {
    // The same records fetched in the engine's chunks, then each stage of
    // the mirror alone on them.
    bench::FetchRecording fetch = bench::RecordFetch(
        handheld, listener, desktop::SyncOptions{}.batch_size);
    result.serving = bench::MeasureServing(handheld, fetch);
    result.decoding = bench::MeasureDecoding(fetch);
    result.file_floor =
        bench::MeasureFileFloor(fetch, desktop::SyncOptions{}.batch_size);
  }
  while (handheld.size() < size) {
    std::uint32_t step = std::min<std::uint32_t>(
        kCatchUpStep, size - static_cast<std::uint32_t>(handheld.size()));
    start = Clock::now();
    handheld.AddContacts(step);
    result.build_seconds += Since(start);
    Run catch_up = Mirror(handheld, listener, dir);
    result.catch_up_seconds += catch_up.seconds;
    result.catch_up_records += catch_up.summary.records_fetched;
  }
  // The incremental mirror and the two-way run are measured three times
  // each (k fresh edits each time) and the median kept.
  std::mt19937 random(size);
  result.incremental = MedianOfThree(
      handheld, listener, dir, [&] { handheld.EditContacts(edits, random); });
  // The first run after a full mirror reads every file the full mirror
  // wrote once (their write times may share the clock's tick); it is not
  // what a two-way run costs, so it is made before the measured ones.
  (void)Mirror(handheld, listener, dir);
  result.two_way = MedianOfThree(handheld, listener, dir, [&] {
    handheld.EditContacts(edits, random);
    EditDirectory(dir + "/contacts", edits, random);
  });
  result.raw_mb_per_second =
      RawLoopback(listener, result.full.summary.bytes_received);
  g_temporaries.push_back(root);
  return result;
}

constexpr char kUsage[] =
    "usage: sync_bench [--sizes N,N,...] [--edits K] [--quick]\n"
    "       sync_bench --repeat STAGE [--sizes N]\n"
    "  --sizes  handheld sizes in contacts (default 1000,10000,100000)\n"
    "  --edits  handheld edits before the incremental run (default 50)\n"
    "  --quick  sizes 1000,5000 and 10 edits: a smoke run\n"
    "  --repeat runs one stage (serving, decoding, files, push or mirror,\n"
    "           the whole full mirror) on the first size (default 10000)\n"
    "           over and over, for a profiler\n";

// Runs one stage alone for about ten seconds and prints its rate.
int Repeat(const std::string& stage, std::uint32_t size,
           const Listener& listener) {
  Handheld handheld;
  handheld.AddContacts(size);
  bench::FetchRecording fetch =
      bench::RecordFetch(handheld, listener, desktop::SyncOptions{}.batch_size);
  double seconds = 0;
  std::uint64_t items = 0;
  std::clock_t cpu_start = std::clock();
  while (seconds < 10) {
    bench::StageResult r;
    if (stage == "serving") {
      r = bench::MeasureServing(handheld, fetch);
    } else if (stage == "decoding") {
      r = bench::MeasureDecoding(fetch);
    } else if (stage == "files") {
      r = bench::MeasureFileFloor(fetch, desktop::SyncOptions{}.batch_size);
    } else if (stage == "push") {
      r = bench::MeasurePush(listener, size);
    } else if (stage == "mirror") {
      std::string root = bench::MakeTempDir();
      Run run = Mirror(handheld, listener, root + "/cards");
      r = {run.seconds, run.summary.records_fetched};
      bench::RemoveTree(root);
    } else {
      Die("unknown stage \"" + stage + "\"");
    }
    seconds += r.seconds;
    items += r.items;
  }
  // The processor time per item is what to compare between builds on a
  // busy machine: it leaves out the time spent waiting for a processor.
  double cpu = static_cast<double>(std::clock() - cpu_start) / CLOCKS_PER_SEC;
  std::printf("%s: %.0f a second, %.2f us of processor time each\n",
              stage.c_str(), static_cast<double>(items) / seconds,
              cpu * 1e6 / static_cast<double>(items));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<std::uint32_t> sizes = {1000, 10000, 100000};
  std::uint32_t edits = 50;
  std::string repeat;
  bool sizes_given = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--quick") {
      sizes = {1000, 5000};
      edits = 10;
    } else if (arg == "--sizes" && i + 1 < argc) {
      sizes = bench::ParseSizes(argv[++i], 1'000'000);
      sizes_given = true;
    } else if (arg == "--edits" && i + 1 < argc) {
      edits = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10));
    } else if (arg == "--repeat" && i + 1 < argc) {
      repeat = argv[++i];
    } else if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else {
      std::fputs(kUsage, stderr);
      return 2;
    }
  }
  if (sizes.empty()) Die("no sizes");

  Listener listener;
  if (!repeat.empty()) {
    return Repeat(repeat, sizes_given ? sizes.front() : 10'000, listener);
  }
  std::vector<SizeResult> results;
  std::printf("%9s %8s %10s %10s %9s %9s %10s %10s %10s\n", "contacts",
              "build s", "full s", "contacts/s", "reply MB/s", "raw MB/s",
              "catchup s", "incr s", "2-way s");
  for (std::uint32_t size : sizes) {
    SizeResult r = Measure(size, edits, listener);
    double full_s = r.full.seconds;
    double rate = static_cast<double>(r.full.summary.records_fetched) / full_s;
    double mbps =
        static_cast<double>(r.full.summary.bytes_received) / 1e6 / full_s;
    std::printf("%9u %8.2f %10.3f %10.0f %9.2f %9.1f %10.3f %10.4f %10.4f%s\n",
                r.size, r.build_seconds, full_s, rate, mbps,
                r.raw_mb_per_second, r.catch_up_seconds, r.incremental.seconds,
                r.two_way.seconds,
                r.full_is_whole ? "" : "  (full mirror of the first 50000)");
    results.push_back(r);
  }

  std::printf("\n%9s %12s %12s %12s %12s %8s\n", "contacts", "mirror/s",
              "serving/s", "decoding/s", "files/s", "floor %");
  for (const SizeResult& r : results) {
    if (!r.full_is_whole) continue;
    double rate =
        static_cast<double>(r.full.summary.records_fetched) / r.full.seconds;
    std::printf("%9u %12.0f %12.0f %12.0f %12.0f %7.1f%%\n", r.size, rate,
                r.serving.per_second(), r.decoding.per_second(),
                r.file_floor.per_second(),
                100 * rate / r.file_floor.per_second());
  }
  bench::StageResult push = bench::MeasurePush(listener, kPushCount);
  std::string push_dir = bench::MakeTempDir();
  bench::StageResult push_file = bench::MeasurePush(listener, kPushCount, [&] {
    std::string image = push_dir + "/push.img";
    if (auto s = device::Device::Init(image, {}); !s.ok()) {
      Die(s.message());
    }
    return image;
  }());
  bench::RemoveTree(push_dir);
  bench::CommitCost commit = bench::MeasureCommitCost(listener, kCommitPackets);
  std::printf(
      "\npush of %u new contacts with BatchWrite: %.0f contacts/s in memory, "
      "%.0f contacts/s onto an image file in %s\n",
      kPushCount, push.per_second(), push_file.per_second(), push_dir.c_str());
  std::printf(
      "one-contact BatchWrite packets on an image file in %s: %.3f ms each "
      "with synchronous=FULL, %.3f ms without flushing: a durable commit "
      "costs %.3f ms a packet\n",
      commit.directory.c_str(), commit.full_ms_per_packet,
      commit.off_ms_per_packet, commit.cost_ms());

  // Headline: the largest full mirror made in one listing.
  const SizeResult* headline = &results.front();
  for (const SizeResult& r : results) {
    if (r.full_is_whole) headline = &r;
  }
  const SizeResult& small = results.front();
  const SizeResult& large = results.back();
  double full_rate =
      static_cast<double>(headline->full.summary.records_fetched) /
      headline->full.seconds;
  double reply_mbps =
      static_cast<double>(headline->full.summary.bytes_received) / 1e6 /
      headline->full.seconds;
  double ratio = large.incremental.seconds / small.incremental.seconds;

  desktop::Json out = desktop::Json::object();
  out["edits"] = edits;
  out["full_mirror_contacts"] = headline->size;
  out["full_mirror_contacts_per_second"] = full_rate;
  out["full_mirror_reply_mb_per_second"] = reply_mbps;
  out["raw_loopback_mb_per_second"] = headline->raw_mb_per_second;
  out["reply_to_raw_ratio"] = reply_mbps / headline->raw_mb_per_second;
  out["incremental_small_contacts"] = small.size;
  out["incremental_small_seconds"] = small.incremental.seconds;
  out["incremental_large_contacts"] = large.size;
  out["incremental_large_seconds"] = large.incremental.seconds;
  out["incremental_ratio"] = ratio;
  out["incremental_ratio_ok"] = ratio < 2.0;
  // The stages of the headline full mirror alone, and the file floor: the
  // same files written the mirror's way in the same run.
  out["serving_contacts_per_second"] = headline->serving.per_second();
  out["decoding_contacts_per_second"] = headline->decoding.per_second();
  out["file_floor_files_per_second"] = headline->file_floor.per_second();
  out["full_mirror_to_file_floor_ratio"] =
      full_rate / headline->file_floor.per_second();
  out["push_contacts"] = kPushCount;
  out["push_contacts_per_second"] = push.per_second();
  out["push_image_file_contacts_per_second"] = push_file.per_second();
  out["commit_full_ms_per_packet"] = commit.full_ms_per_packet;
  out["commit_unflushed_ms_per_packet"] = commit.off_ms_per_packet;
  out["commit_cost_ms_per_packet"] = commit.cost_ms();
  // Two-way sync after k edits on each side, at the smallest and largest N.
  double two_way_ratio = large.two_way.seconds / small.two_way.seconds;
  out["two_way_small_seconds"] = small.two_way.seconds;
  out["two_way_large_seconds"] = large.two_way.seconds;
  out["two_way_ratio"] = two_way_ratio;
  out["two_way_ratio_ok"] = two_way_ratio < 1.2;
  std::printf(
      "incremental mirror after %u edits: %.4f s at %u contacts, "
      "%.4f s at %u contacts, ratio %.2f\n",
      edits, small.incremental.seconds, small.size, large.incremental.seconds,
      large.size, ratio);
  std::printf(
      "two-way run after %u edits on each side: %.4f s at %u contacts, "
      "%.4f s at %u contacts, ratio %.2f\n",
      edits, small.two_way.seconds, small.size, large.two_way.seconds,
      large.size, two_way_ratio);
  for (const std::string& dir : g_temporaries) {
    std::filesystem::remove_all(dir);
  }
  std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  return 0;
}
