#include "bench/support/mirror_run.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_engine.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/transport/tcp_stream.h"
#include "desktop/wire/handheld_client.h"

namespace bench {

Run Mirror(Handheld& handheld, const Listener& listener, const std::string& dir,
           const desktop::SyncAdapter* adapter) {
  std::thread server = handheld.Serve(listener);
  auto start = Clock::now();
  auto tcp = desktop::TcpStream::Connect(listener.address());
  if (!tcp.ok()) Die(tcp.status().message());
  desktop::SyncCountingStream counted(**tcp);
  desktop::HandheldClient client(counted);
  auto mirror = desktop::MirrorDirectory::Open(dir);
  if (!mirror.ok()) Die(mirror.status().message());
  desktop::SyncOptions options;
  options.partner = "sync-bench";
  options.adapter = adapter;
  desktop::SyncEngine engine(client, **mirror, options, &counted);
  auto summary = engine.Run();
  if (!summary.ok()) Die(summary.status().message());
  if (auto s = client.EndSession(); !s.ok()) Die(s.message());
  (void)counted.Close();
  Run run{*summary, Since(start)};
  server.join();
  return run;
}

Run MedianOfThree(Handheld& handheld, const Listener& listener,
                  const std::string& dir, const std::function<void()>& edit,
                  const desktop::SyncAdapter* adapter) {
  std::vector<Run> rounds;
  for (int round = 0; round < 3; ++round) {
    edit();
    // The host's write-back of earlier phases is flushed first, so it is not
    // billed to the run being measured.
    ::sync();
    rounds.push_back(Mirror(handheld, listener, dir, adapter));
    if (rounds.back().summary.full) Die("the incremental run was full");
  }
  std::sort(rounds.begin(), rounds.end(),
            [](const Run& a, const Run& b) { return a.seconds < b.seconds; });
  return rounds[1];
}

void EditFiles(
    const std::string& dir, const std::string& extension, std::uint32_t edits,
    std::mt19937& random,
    const std::function<void(std::string& text, std::uint32_t i)>& edit) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() == extension) files.push_back(entry.path());
  }
  if (files.empty()) Die("no " + extension + " files in " + dir);
  for (std::uint32_t i = 0; i < edits; ++i) {
    const std::filesystem::path& file = files[random() % files.size()];
    std::ifstream in(file, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
    edit(text, i);
    std::filesystem::path temporary = file.string() + ".edit";
    std::ofstream(temporary, std::ios::binary) << text;
    std::filesystem::rename(temporary, file);
  }
}

double RawLoopback(const Listener& listener, std::uint64_t bytes) {
  std::thread sender([&] {
    int fd = listener.Accept();
    std::vector<std::uint8_t> chunk(std::size_t{64} * 1024, 0x5A);
    std::uint64_t left = bytes;
    while (left > 0) {
      std::size_t n =
          static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk.size()));
      ssize_t sent = send(fd, chunk.data(), n, MSG_NOSIGNAL);
      if (sent <= 0) break;
      left -= static_cast<std::uint64_t>(sent);
    }
    close(fd);
  });
  auto start = Clock::now();
  auto tcp = desktop::TcpStream::Connect(listener.address());
  if (!tcp.ok()) Die(tcp.status().message());
  std::vector<std::uint8_t> buffer(std::size_t{64} * 1024);
  std::uint64_t got = 0;
  while (got < bytes) {
    auto n = (*tcp)->ReadSome(buffer.data(), buffer.size());
    if (!n.ok() || *n == 0) break;
    got += *n;
  }
  double seconds = Since(start);
  sender.join();
  (void)(*tcp)->Close();
  return static_cast<double>(got) / 1e6 / seconds;
}

}  // namespace bench
