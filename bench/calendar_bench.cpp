// calendar_bench: the desktop's calendar mirror against an emulated
// handheld served over a loopback socket, in one process.
//
// For each size N: builds a handheld of N appointments through the object
// model with the change-log writer hooked in (a fifth of them recurring
// weekly for a year, each with a moved and a deleted occurrence), mirrors
// it into a temporary directory with the sync engine (DIR/calendar/, one
// iCalendar file per appointment), applies k edits on the handheld (adds,
// changes and deletes) and mirrors again incrementally; then k edits on
// each side (the handheld's as above, and k files of the directory given a
// new summary) and a two-way run.
//
// After the largest size, the full mirror's stages alone: the handheld
// serving the same GetRecords packets, the desktop decoding the same
// replies into iCalendar text, and the file floor (the same number of
// files of the same sizes written the mirror's way).
//
// Prints a table and, as the last line of standard output, one JSON object
// with the keys of sync_bench, "contacts" read "appointments".
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bench/support/bench_handheld.h"
#include "bench/support/calendar_book.h"
#include "bench/support/mirror_run.h"
#include "bench/support/stage_benchmarks.h"
#include "desktop/formats/appointment.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/calendar_sync_adapter.h"
#include "desktop/sync/sync_engine.h"

namespace {

using bench::CalendarBook;
using bench::Die;
using bench::Handheld;
using bench::Listener;
using bench::Run;

struct SizeResult {
  std::uint32_t size = 0;
  std::uint32_t recurring = 0;
  Run full;
  Run incremental;
  Run two_way;
  double raw_mb_per_second = 0;
  bench::StageResult serving;
  bench::StageResult decoding;
  bench::StageResult file_floor;
};

// The handheld's zone as the mirror writes it into every file.
desktop::IcalZone Zone() {
  auto zone = desktop::IcalZone::Named("Europe/Berlin");
  if (!zone.ok()) Die(zone.status().message());
  return *zone;
}

bench::RecordKind AppointmentKind() {
  auto adapter = std::make_shared<desktop::CalendarSyncAdapter>(
      protocol::DataType::kAppointments, Zone());
  return {protocol::DataType::kAppointments,
          desktop::Appointment::PropertyKindOf,
          [adapter](const desktop::WireRecord& record) {
            auto item = adapter->FromWire(record);
            if (!item.ok()) Die(item.status().message());
            return std::move(item->canonical);
          }};
}

// Gives `edits` files of the calendar directory a new summary, each
// replaced through a rename as a calendar program would.
void EditDirectory(const std::string& calendar, std::uint32_t edits,
                   std::mt19937& random) {
  bench::EditFiles(calendar, ".ics", edits, random,
                   [](std::string& text, std::uint32_t i) {
                     std::size_t at = text.find("\nSUMMARY:");
                     if (at == std::string::npos) Die("no summary");
                     text.insert(at + 9, "Edited " + std::to_string(i) + " ");
                   });
}

SizeResult Measure(std::uint32_t size, std::uint32_t edits,
                   const Listener& listener, bool stages) {
  SizeResult result;
  result.size = size;
  std::string root = bench::MakeTempDir();
  std::string dir = root + "/mirror";
  desktop::CalendarSyncAdapter adapter(protocol::DataType::kAppointments,
                                       Zone());
  Handheld handheld;
  CalendarBook book(handheld);
  book.AddAppointments(size);
  result.recurring = book.recurring();
  result.full = Mirror(handheld, listener, dir, &adapter);
  if (result.full.summary.records_fetched != size) {
    Die("the full mirror fetched " +
        std::to_string(result.full.summary.records_fetched) + " of " +
        std::to_string(size) + " appointments");
  }
  std::size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir + "/calendar")) {
    files += entry.path().extension() == ".ics" ? 1 : 0;
  }
  if (files != size) {
    Die("the full mirror wrote " + std::to_string(files) + " files for " +
        std::to_string(size) + " appointments");
  }
  if (stages) {
    bench::FetchRecording fetch = bench::RecordFetch(
        handheld, listener, desktop::SyncOptions{}.batch_size,
        AppointmentKind(), book.oids());
    result.serving = bench::MeasureServing(handheld, fetch);
    result.decoding = bench::MeasureDecoding(fetch);
    result.file_floor =
        bench::MeasureFileFloor(fetch, desktop::SyncOptions{}.batch_size);
  }
  std::mt19937 random(size);
  result.incremental = MedianOfThree(
      handheld, listener, dir, [&] { book.EditAppointments(edits, random); },
      &adapter);
  // As in sync_bench: the first run after a full mirror reads every file
  // once; it is made before the measured ones.
  (void)Mirror(handheld, listener, dir, &adapter);
  result.two_way = MedianOfThree(
      handheld, listener, dir,
      [&] {
        book.EditAppointments(edits, random);
        EditDirectory(dir + "/calendar", edits, random);
      },
      &adapter);
  result.raw_mb_per_second =
      bench::RawLoopback(listener, result.full.summary.bytes_received);
  bench::RemoveTree(root);
  return result;
}

constexpr char kUsage[] =
    "usage: calendar_bench [--sizes N,N,...] [--edits K] [--quick]\n"
    "  --sizes  handheld sizes in appointments (default 1000,10000)\n"
    "  --edits  edits on each side before the incremental and two-way\n"
    "           runs (default 50)\n"
    "  --quick  sizes 500,2000 and 10 edits: a smoke run\n";

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<std::uint32_t> sizes = {1000, 10000};
  std::uint32_t edits = 50;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--quick") {
      sizes = {500, 2000};
      edits = 10;
    } else if (arg == "--sizes" && i + 1 < argc) {
      // One GetAllRecords reply lists at most 55,294 object ids.
      sizes = bench::ParseSizes(argv[++i], 50'000);
    } else if (arg == "--edits" && i + 1 < argc) {
      edits = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10));
      if (edits == 0) Die("--edits takes a number above 0");
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
  std::vector<SizeResult> results;
  std::printf("%12s %9s %10s %12s %10s %9s %10s %10s\n", "appointments",
              "recurring", "full s", "appts/s", "reply MB/s", "raw MB/s",
              "incr s", "2-way s");
  for (std::uint32_t size : sizes) {
    SizeResult r = Measure(size, edits, listener, size == sizes.back());
    double rate =
        static_cast<double>(r.full.summary.records_fetched) / r.full.seconds;
    double mbps = static_cast<double>(r.full.summary.bytes_received) / 1e6 /
                  r.full.seconds;
    std::printf("%12u %9u %10.3f %12.0f %10.2f %9.1f %10.4f %10.4f\n", r.size,
                r.recurring, r.full.seconds, rate, mbps, r.raw_mb_per_second,
                r.incremental.seconds, r.two_way.seconds);
    results.push_back(r);
  }
  const SizeResult& small = results.front();
  const SizeResult& large = results.back();
  double full_rate = static_cast<double>(large.full.summary.records_fetched) /
                     large.full.seconds;
  double reply_mbps = static_cast<double>(large.full.summary.bytes_received) /
                      1e6 / large.full.seconds;
  std::printf("\n%12s %12s %12s %12s %8s\n", "appointments", "mirror/s",
              "serving/s", "decoding/s", "files/s");
  std::printf("%12u %12.0f %12.0f %12.0f %12.0f\n", large.size, full_rate,
              large.serving.per_second(), large.decoding.per_second(),
              large.file_floor.per_second());
  double ratio = large.incremental.seconds / small.incremental.seconds;
  double two_way_ratio = large.two_way.seconds / small.two_way.seconds;
  std::printf(
      "incremental mirror after %u edits: ratio %.2f; two-way run after %u "
      "edits on each side: ratio %.2f (%u to %u appointments)\n",
      edits, ratio, edits, two_way_ratio, small.size, large.size);

  desktop::Json out = desktop::Json::object();
  out["edits"] = edits;
  out["full_mirror_appointments"] = large.size;
  out["recurring_appointments"] = large.recurring;
  out["full_mirror_appointments_per_second"] = full_rate;
  out["full_mirror_reply_mb_per_second"] = reply_mbps;
  out["raw_loopback_mb_per_second"] = large.raw_mb_per_second;
  out["reply_to_raw_ratio"] = reply_mbps / large.raw_mb_per_second;
  out["incremental_small_appointments"] = small.size;
  out["incremental_small_seconds"] = small.incremental.seconds;
  out["incremental_large_appointments"] = large.size;
  out["incremental_large_seconds"] = large.incremental.seconds;
  out["incremental_ratio"] = ratio;
  out["incremental_ratio_ok"] = ratio < 2.0;
  out["serving_appointments_per_second"] = large.serving.per_second();
  out["decoding_appointments_per_second"] = large.decoding.per_second();
  out["file_floor_files_per_second"] = large.file_floor.per_second();
  out["full_mirror_to_file_floor_ratio"] =
      full_rate / large.file_floor.per_second();
  out["two_way_small_seconds"] = small.two_way.seconds;
  out["two_way_large_seconds"] = large.two_way.seconds;
  out["two_way_ratio"] = two_way_ratio;
  out["two_way_ratio_ok"] = two_way_ratio < 1.2;
  std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  return 0;
}
