// mail_bench: the handheld's mail (MAPI store) listed, read and mirrored
// by the desktop over a loopback socket, in one process.
//
// For each size N: N messages spread over the five folders through the
// handheld's own mail editor (every tenth with a 4 KiB attachment); the
// fifth in Deleted Items takes no part in listings and mirrors. Then:
//   - the listing alone (GetAllRecords);
//   - every message read in full, attachments fetched from their device
//     files (the desktop's mail transfer);
//   - the mirror into a Maildir++ tree in full, and once more with nothing
//     changed (the incremental run);
//   - the per-command index build: the agent builds its index of the five
//     folders afresh on every mail command, so a count command, whose only
//     other work is its three-word reply, is served in process over and
//     over and its time taken per command (target: 5 ms at 10,000);
//   - after the largest size, the file floor: the mirror's files written
//     again the mirror's way.
//
// Prints a table and, as the last line of standard output, one JSON object
// with the keys of sync_bench, "contacts" read "messages", and the mail's
// own keys.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/bench_handheld.h"
#include "bench/support/mirror_run.h"
#include "bench/support/stage_benchmarks.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/mail_transfer.h"
#include "desktop/sync/mail_mirror.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/transport/tcp_stream.h"
#include "desktop/wire/handheld_client.h"
#include "device/mapi/mail_editor.h"

namespace {

using bench::Clock;
using bench::Die;
using bench::Handheld;
using bench::Listener;
using bench::Since;

constexpr int kIndexRounds = 50;

void AddMessages(Handheld& handheld, std::uint32_t count) {
  std::vector<BYTE> attachment(4096);
  for (std::size_t i = 0; i < attachment.size(); ++i) {
    attachment[i] = static_cast<BYTE>('a' + i % 26);
  }
  handheld.Edit([&](device::OutlookApp& /*app*/) {
    device::MailEditor editor(handheld.device().mapi());
    for (std::uint32_t i = 0; i < count; ++i) {
      device::NewMail mail;
      mail.folder = static_cast<device::MailFolder>(1 + i % 5);
      std::u16string n;
      for (char c : std::to_string(i)) n += static_cast<char16_t>(c);
      mail.from = u"sender" + n + u"@example.org";
      mail.to = {u"ada@example.org", u"grace@example.org"};
      mail.subject = u"Message " + n;
      mail.body = u"Hello,\r\nthis is message " + n + u".\r\nRegards";
      mail.read = i % 3 == 0;
      mail.time =
          FILETIME{static_cast<DWORD>(i * 600000000ULL), 0x01DD0000};  // 2026
      if (i % 10 == 0) mail.attachments.push_back({u"notes.txt", attachment});
      auto key = editor.Add(mail);
      if (!key.ok()) Die(key.status().message());
    }
  });
}

struct Session {
  Session(Handheld& handheld, const Listener& listener)
      : server(handheld.Serve(listener)) {
    auto connected = desktop::TcpStream::Connect(listener.address());
    if (!connected.ok()) Die(connected.status().message());
    tcp = std::move(*connected);
    counted = std::make_unique<desktop::SyncCountingStream>(*tcp);
    client = std::make_unique<desktop::HandheldClient>(*counted);
    transfer =
        std::make_unique<desktop::MailTransfer>(*client, desktop::MailClock());
  }
  void End() {
    if (auto s = client->EndSession(); !s.ok()) Die(s.message());
    (void)counted->Close();
    server.join();
  }
  std::thread server;
  std::unique_ptr<desktop::HandheldStream> tcp;
  std::unique_ptr<desktop::SyncCountingStream> counted;
  std::unique_ptr<desktop::HandheldClient> client;
  std::unique_ptr<desktop::MailTransfer> transfer;
};

struct MirrorRun {
  desktop::MailMirrorSummary summary;
  double seconds = 0;
  std::uint64_t bytes = 0;
};

MirrorRun MirrorMail(Handheld& handheld, const Listener& listener,
                     const std::string& dir) {
  auto start = Clock::now();
  Session session(handheld, listener);
  auto summary = desktop::MailMirror::Run(dir, *session.transfer);
  if (!summary.ok()) Die(summary.status().message());
  std::uint64_t bytes = session.counted->bytes_read();
  session.End();
  return {*summary, Since(start), bytes};
}

// Serves `rounds` count commands for mail in process; milliseconds each.
double IndexBuildMs(Handheld& handheld, int rounds) {
  std::vector<std::uint8_t> requests;
  for (int i = 0; i < rounds; ++i) {
    requests.insert(requests.end(), {2, 0, 0, 0, 6, 4});
  }
  requests.insert(requests.end(), {2, 0, 0, 0, 1, 4});
  auto start = Clock::now();
  std::uint64_t written = bench::ServeInProcess(handheld, requests);
  double ms = Since(start) * 1000 / rounds;
  // Each count reply is 4 + 6 bytes; the end of session 4.
  if (written != static_cast<std::uint64_t>(rounds) * 10 + 4) {
    Die("the count commands were not all answered");
  }
  return ms;
}

struct SizeResult {
  std::uint32_t size = 0;
  std::uint32_t listed = 0;  // the messages outside Deleted Items
  double list_seconds = 0;
  double read_seconds = 0;
  std::uint64_t read_messages = 0;
  MirrorRun full;
  MirrorRun incremental;
  double raw_mb_per_second = 0;
  double index_build_ms = 0;
  bench::StageResult file_floor;
};

bench::StageResult FileFloor(const std::string& maildir) {
  bench::FetchRecording files;
  std::uint32_t n = 0;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(maildir)) {
    if (!entry.is_regular_file() ||
        entry.path().parent_path().filename() != "cur") {
      continue;
    }
    std::ifstream in(entry.path(), std::ios::binary);
    files.cards.emplace_back(std::istreambuf_iterator<char>(in),
                             std::istreambuf_iterator<char>());
    files.oids.push_back(++n);
  }
  return bench::MeasureFileFloor(files, 500);
}

SizeResult Measure(std::uint32_t size, const Listener& listener, bool floor) {
  SizeResult r;
  r.size = size;
  Handheld handheld;
  AddMessages(handheld, size);
  std::vector<std::uint32_t> keys;
  {
    auto start = Clock::now();
    Session session(handheld, listener);
    auto listed = session.transfer->Keys();
    if (!listed.ok()) Die(listed.status().message());
    keys = *listed;
    session.End();
    r.list_seconds = Since(start);
  }
  // Deleted Items (every fifth message here) take no part in the listing.
  std::uint32_t deleted = (size + 4) / 5;
  if (keys.size() != size - deleted) {
    Die("listed " + std::to_string(keys.size()) + " of " +
        std::to_string(size - deleted) + " messages");
  }
  r.listed = static_cast<std::uint32_t>(keys.size());
  {
    auto start = Clock::now();
    Session session(handheld, listener);
    auto read = session.transfer->Fetch(keys);
    if (!read.ok()) Die(read.status().message());
    r.read_messages = read->messages.size();
    session.End();
    r.read_seconds = Since(start);
  }
  std::string root = bench::MakeTempDir();
  r.full = MirrorMail(handheld, listener, root);
  if (r.full.summary.written != keys.size()) {
    Die("the mirror wrote " + std::to_string(r.full.summary.written) + " of " +
        std::to_string(keys.size()) + " messages");
  }
  ::sync();
  r.incremental = MirrorMail(handheld, listener, root);
  r.raw_mb_per_second = bench::RawLoopback(listener, r.full.bytes);
  r.index_build_ms = IndexBuildMs(handheld, kIndexRounds);
  if (floor) r.file_floor = FileFloor(root + "/mail");
  bench::RemoveTree(root);
  return r;
}

constexpr char kUsage[] =
    "usage: mail_bench [--sizes N,N,...] [--quick]\n"
    "  --sizes  handheld sizes in messages (default 1000,10000)\n"
    "  --quick  sizes 200,1000: a smoke run\n";

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<std::uint32_t> sizes = {1000, 10000};
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--quick") {
      sizes = {200, 1000};
    } else if (arg == "--sizes" && i + 1 < argc) {
      // One GetAllRecords reply lists at most 55,294 record keys.
      sizes = bench::ParseSizes(argv[++i], 50'000);
    } else if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else {
      std::fputs(kUsage, stderr);
      return 2;
    }
  }
  Listener listener;
  std::vector<SizeResult> results;
  std::printf("%9s %9s %10s %10s %10s %10s %9s %10s\n", "messages", "list s",
              "read s", "mirror s", "msgs/s", "reply MB/s", "raw MB/s",
              "index ms");
  for (std::uint32_t size : sizes) {
    SizeResult r = Measure(size, listener, size == sizes.back());
    std::printf("%9u %9.3f %10.3f %10.3f %10.0f %10.2f %9.1f %10.3f\n", r.size,
                r.list_seconds, r.read_seconds, r.full.seconds,
                r.listed / r.full.seconds,
                static_cast<double>(r.full.bytes) / 1e6 / r.full.seconds,
                r.raw_mb_per_second, r.index_build_ms);
    results.push_back(r);
  }
  const SizeResult& small = results.front();
  const SizeResult& large = results.back();
  double rate = large.listed / large.full.seconds;
  double reply_mbps =
      static_cast<double>(large.full.bytes) / 1e6 / large.full.seconds;
  double ratio = large.incremental.seconds / small.incremental.seconds;
  std::printf(
      "file floor: %.0f files/s; incremental mirror (nothing changed): "
      "%.4f s at %u, %.4f s at %u messages\n",
      large.file_floor.per_second(), small.incremental.seconds, small.size,
      large.incremental.seconds, large.size);

  desktop::Json out = desktop::Json::object();
  out["handheld_messages"] = large.size;
  out["full_mirror_messages"] = large.listed;
  out["full_mirror_messages_per_second"] = rate;
  out["full_mirror_reply_mb_per_second"] = reply_mbps;
  out["raw_loopback_mb_per_second"] = large.raw_mb_per_second;
  out["reply_to_raw_ratio"] = reply_mbps / large.raw_mb_per_second;
  out["incremental_small_messages"] = small.listed;
  out["incremental_small_seconds"] = small.incremental.seconds;
  out["incremental_large_messages"] = large.listed;
  out["incremental_large_seconds"] = large.incremental.seconds;
  out["incremental_ratio"] = ratio;
  out["incremental_ratio_ok"] = ratio < 2.0;
  out["file_floor_files_per_second"] = large.file_floor.per_second();
  out["full_mirror_to_file_floor_ratio"] = rate / large.file_floor.per_second();
  out["list_seconds"] = large.list_seconds;
  out["read_messages_per_second"] =
      static_cast<double>(large.read_messages) / large.read_seconds;
  out["index_build_ms"] = large.index_build_ms;
  out["index_build_ok"] = large.index_build_ms <= 5.0;
  std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  return 0;
}
