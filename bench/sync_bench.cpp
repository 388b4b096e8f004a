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
// Prints a table and, as the last line of standard output, one JSON object.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "agent/session/entry_point.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_engine.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/transport/tcp_stream.h"
#include "desktop/wire/handheld_client.h"
#include "device/device.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"
#include "platform/pimstore.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFirstFull = 50'000;
constexpr std::uint32_t kCatchUpStep = 40'000;

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void Die(const std::string& message) {
  std::fprintf(stderr, "sync_bench: %s\n", message.c_str());
  std::exit(1);
}

// A loopback listening socket; Accept serves one conversation per call.
class Listener {
 public:
  Listener() {
    fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (fd_ < 0 ||
        bind(fd_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(fd_, 4) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      Die(std::string("cannot listen on loopback: ") + std::strerror(errno));
    }
    port_ = ntohs(address.sin_port);
  }
  ~Listener() { close(fd_); }
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  int Accept() const {
    int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) Die(std::string("accept: ") + std::strerror(errno));
    // The agent writes a reply's length and its bytes separately; without
    // this the second write waits for the desktop's delayed ACK.
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
  }

 private:
  int fd_ = -1;
  int port_ = 0;
};

// A handheld whose contacts are edited through the object model with the
// change-log writer hooked in.
class Handheld {
 public:
  Handheld()
      : device_(device::Device::InMemory()), writer_(device_->changeLog()) {
    device_->SetMessageOutput(&messages_);
  }

  // Runs `edit` inside one transaction with an application object whose
  // saves and deletes are logged.
  template <typename Fn>
  void Edit(Fn edit) {
    device::ScopedServices services(device_->services());
    device_->image().Begin();
    auto* app =
        new device::OutlookApp(device_->context(), device_->objectStore());
    app->SetChangeHook([this](int type, CEOID oid, int kind) {
      writer_.OnChange(type, oid, kind);
      if (!writer_.lastStatus().ok()) Die(writer_.lastStatus().message());
    });
    edit(*app);
    app->Release();
    device_->image().Commit();
  }

  void AddContacts(std::uint32_t count) {
    Edit([&](device::OutlookApp& app) {
      for (std::uint32_t i = 0; i < count; ++i) {
        oids_.push_back(Add(app, next_++));
        if (i % 1000 == 999) app.SweepReleasedItems();
      }
    });
  }

  // `edits` changes, a third each adds, changes and deletes.
  void EditContacts(std::uint32_t edits, std::mt19937& random) {
    Edit([&](device::OutlookApp& app) {
      for (std::uint32_t i = 0; i < edits; ++i) {
        if (i % 3 == 0 || oids_.empty()) {
          oids_.push_back(Add(app, next_++));
          continue;
        }
        std::size_t at = random() % oids_.size();
        IDispatch* item = nullptr;
        if (app.GetItemFromOid(static_cast<LONG>(oids_[at]), &item) < 0) {
          Die("no contact " + std::to_string(oids_[at]));
        }
        auto* contact = platform::ItemAs<IContact>(item);
        if (i % 3 == 1) {
          contact->put_JobTitle(u"Changed in the benchmark");
          if (contact->Save() < 0) Die("save failed");
        } else {
          if (contact->Delete() < 0) Die("delete failed");
          oids_[at] = oids_.back();
          oids_.pop_back();
        }
        item->Release();
      }
    });
  }

  // Serves one conversation on a connection accepted from `listener`.
  std::thread Serve(const Listener& listener) {
    return std::thread([this, &listener] {
      int fd = listener.Accept();
      device::FdChannel channel(fd, fd);
      device::RunConversation(*device_, channel, rsCeApiMgr);
      close(fd);
    });
  }

  std::size_t size() const { return oids_.size(); }

 private:
  static CEOID Add(device::OutlookApp& app, std::uint32_t n) {
    IDispatch* item = nullptr;
    if (app.CreateItem(olContactItem, &item) < 0) Die("CreateItem failed");
    auto* contact = platform::ItemAs<IContact>(item);
    std::u16string number;
    for (char c : std::to_string(n)) number += static_cast<char16_t>(c);
    contact->put_FirstName((u"Person" + number).c_str());
    contact->put_LastName(u"Benchmark");
    contact->put_CompanyName(u"Orvanet Test Works");
    contact->put_JobTitle(u"Engineer");
    contact->put_Email1Address((u"person" + number + u"@example.org").c_str());
    contact->put_MobileTelephoneNumber((u"+1 555 01" + number).c_str());
    contact->put_BusinessTelephoneNumber(u"+1 555 0100");
    contact->put_HomeAddressStreet((number + u" Main Street").c_str());
    contact->put_HomeAddressCity(u"Springfield");
    contact->put_Body(u"Met at the conference.\r\nLikes tea.");
    if (contact->Save() < 0) Die("Save failed");
    LONG oid = 0;
    contact->get_Oid(&oid);
    item->Release();
    return static_cast<CEOID>(oid);
  }

  std::unique_ptr<device::Device> device_;
  std::ostringstream messages_;
  device::ChangeLogWriter& writer_;
  std::vector<CEOID> oids_;
  std::uint32_t next_ = 1;
};

struct Run {
  desktop::SyncSummary summary;
  double seconds = 0;  // connect to end of session
};

Run Mirror(Handheld& handheld, const Listener& listener,
           const std::string& dir) {
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
  desktop::SyncEngine engine(client, **mirror, options, &counted);
  auto summary = engine.Run();
  if (!summary.ok()) Die(summary.status().message());
  if (auto s = client.EndSession(); !s.ok()) Die(s.message());
  (void)counted.Close();
  Run run{*summary, Since(start)};
  server.join();
  return run;
}

// Pushes `bytes` through a loopback socket; returns MB/s.
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

struct SizeResult {
  std::uint32_t size = 0;
  double build_seconds = 0;
  bool full_is_whole = true;  // false: grown through catch-up runs
  Run full;
  double catch_up_seconds = 0;
  std::uint64_t catch_up_records = 0;
  Run incremental;
  double raw_mb_per_second = 0;
};

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
  const char* tmp = std::getenv("TMPDIR");
  std::string root = tmp != nullptr && *tmp != 0     ? std::string(tmp)
                     : access("/dev/shm", W_OK) == 0 ? std::string("/dev/shm")
                                                     : std::string("/tmp");
  std::string base = root + "/vorn-sync-bench-XXXXXX";
  std::vector<char> name(base.begin(), base.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) Die("cannot make a temporary directory");
  std::string dir = std::string(name.data()) + "/cards";

  Handheld handheld;
  auto start = Clock::now();
  std::uint32_t first = std::min(size, kFirstFull);
  handheld.AddContacts(first);
  result.build_seconds = Since(start);
  result.full = Mirror(handheld, listener, dir);
  result.full_is_whole = first == size;
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
  // The incremental mirror is measured three times (k fresh edits each) and
  // the median kept; the host's write-back of earlier phases is flushed
  // before each, so it is not billed to the run being measured.
  std::mt19937 random(size);
  std::vector<Run> rounds;
  for (int round = 0; round < 3; ++round) {
    handheld.EditContacts(edits, random);
    ::sync();
    rounds.push_back(Mirror(handheld, listener, dir));
    if (rounds.back().summary.full) Die("the incremental run was full");
  }
  std::sort(rounds.begin(), rounds.end(),
            [](const Run& a, const Run& b) { return a.seconds < b.seconds; });
  result.incremental = rounds[1];
  result.raw_mb_per_second =
      RawLoopback(listener, result.full.summary.bytes_received);
  g_temporaries.emplace_back(name.data());
  return result;
}

std::vector<std::uint32_t> ParseSizes(const std::string& text) {
  std::vector<std::uint32_t> sizes;
  std::stringstream in(text);
  std::string part;
  while (std::getline(in, part, ',')) {
    char* end = nullptr;
    unsigned long value = std::strtoul(part.c_str(), &end, 10);
    if (part.empty() || *end != '\0' || value == 0 || value > 1'000'000) {
      Die("bad size \"" + part + "\"");
    }
    sizes.push_back(static_cast<std::uint32_t>(value));
  }
  std::sort(sizes.begin(), sizes.end());
  return sizes;
}

constexpr char kUsage[] =
    "usage: sync_bench [--sizes N,N,...] [--edits K] [--quick]\n"
    "  --sizes  handheld sizes in contacts (default 1000,10000,100000)\n"
    "  --edits  handheld edits before the incremental run (default 50)\n"
    "  --quick  sizes 1000,5000 and 10 edits: a smoke run\n";

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<std::uint32_t> sizes = {1000, 10000, 100000};
  std::uint32_t edits = 50;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--quick") {
      sizes = {1000, 5000};
      edits = 10;
    } else if (arg == "--sizes" && i + 1 < argc) {
      sizes = ParseSizes(argv[++i]);
    } else if (arg == "--edits" && i + 1 < argc) {
      edits = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10));
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
  std::printf("%9s %8s %10s %10s %9s %9s %10s %10s\n", "contacts", "build s",
              "full s", "contacts/s", "reply MB/s", "raw MB/s", "catchup s",
              "incr s");
  for (std::uint32_t size : sizes) {
    SizeResult r = Measure(size, edits, listener);
    double full_s = r.full.seconds;
    double rate = static_cast<double>(r.full.summary.records_fetched) / full_s;
    double mbps =
        static_cast<double>(r.full.summary.bytes_received) / 1e6 / full_s;
    std::printf("%9u %8.2f %10.3f %10.0f %9.2f %9.1f %10.3f %10.4f%s\n", r.size,
                r.build_seconds, full_s, rate, mbps, r.raw_mb_per_second,
                r.catch_up_seconds, r.incremental.seconds,
                r.full_is_whole ? "" : "  (full mirror of the first 50000)");
    results.push_back(r);
  }

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
  std::printf(
      "incremental mirror after %u edits: %.4f s at %u contacts, "
      "%.4f s at %u contacts, ratio %.2f\n",
      edits, small.incremental.seconds, small.size, large.incremental.seconds,
      large.size, ratio);
  for (const std::string& dir : g_temporaries) {
    std::filesystem::remove_all(dir);
  }
  std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  return 0;
}
