#include "bench/support/stage_benchmarks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <thread>

#include "agent/session/entry_point.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/vcard.h"
#include "desktop/transport/tcp_stream.h"
#include "desktop/wire/batch_writer.h"
#include "desktop/wire/handheld_client.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"

namespace bench {
namespace {

using protocol::DataType;

// Passes a conversation through and keeps a copy of both directions.
class RecordingStream : public desktop::HandheldStream {
 public:
  RecordingStream(desktop::HandheldStream& inner, FetchRecording& into)
      : inner_(inner), into_(into) {}
  desktop::Status Write(std::span<const std::uint8_t> bytes) override {
    into_.requests.insert(into_.requests.end(), bytes.begin(), bytes.end());
    return inner_.Write(bytes);
  }
  desktop::Result<std::size_t> ReadSome(std::uint8_t* buffer,
                                        std::size_t size) override {
    desktop::Result<std::size_t> n = inner_.ReadSome(buffer, size);
    if (n.ok()) into_.replies.insert(into_.replies.end(), buffer, buffer + *n);
    return n;
  }
  desktop::Status Close() override { return inner_.Close(); }

 private:
  desktop::HandheldStream& inner_;
  FetchRecording& into_;
};

// Serves recorded reply bytes from memory; writes are dropped.
class ReplayStream : public desktop::HandheldStream {
 public:
  explicit ReplayStream(const std::vector<std::uint8_t>& replies)
      : replies_(replies) {}
  desktop::Status Write(std::span<const std::uint8_t> /*bytes*/) override {
    return desktop::Status::Ok();
  }
  desktop::Result<std::size_t> ReadSome(std::uint8_t* buffer,
                                        std::size_t size) override {
    std::size_t n = std::min(size, replies_.size() - at_);
    std::memcpy(buffer, replies_.data() + at_, n);
    at_ += n;
    return n;
  }
  desktop::Status Close() override { return desktop::Status::Ok(); }

 private:
  const std::vector<std::uint8_t>& replies_;
  std::size_t at_ = 0;
};

// Serves recorded request bytes to the handheld; its replies are counted
// and dropped.
class CountingChannel final : public device::ByteChannel {
 public:
  explicit CountingChannel(const std::vector<std::uint8_t>& input)
      : input_(input) {}
  device::Result<std::size_t> ReadSome(
      std::span<std::uint8_t> buffer) override {
    std::size_t n = std::min(buffer.size(), input_.size() - at_);
    std::memcpy(buffer.data(), input_.data() + at_, n);
    at_ += n;
    return n;
  }
  device::Status WriteAll(std::span<const std::uint8_t> bytes) override {
    written_ += bytes.size();
    return device::Status::Ok();
  }
  std::uint64_t written() const { return written_; }

 private:
  const std::vector<std::uint8_t>& input_;
  std::size_t at_ = 0;
  std::uint64_t written_ = 0;
};

desktop::Contact BenchContact(std::uint32_t n) {
  std::string number = std::to_string(n);
  auto text = [](const std::string& utf8) {
    return std::u16string(utf8.begin(), utf8.end());
  };
  desktop::Contact contact;
  auto set = [&](std::string_view field, const std::string& value) {
    std::optional<std::uint32_t> id = desktop::Contact::FieldId(field);
    if (!id) Die("no contact field " + std::string(field));
    contact.SetText(*id, text(value));
  };
  set("FirstName", "Pushed" + number);
  set("LastName", "Benchmark");
  set("CompanyName", "Orvanet Test Works");
  set("JobTitle", "Engineer");
  set("Email1Address", "pushed" + number + "@example.org");
  set("MobileTelephoneNumber", "+1 555 02" + number);
  set("BusinessTelephoneNumber", "+1 555 0100");
  set("HomeAddressStreet", number + " Main Street");
  set("HomeAddressCity", "Springfield");
  set("Body", "Met at the conference.\r\nLikes tea.");
  return contact;
}

std::uint64_t PushOver(const Listener& listener, Handheld& handheld,
                       std::uint32_t first, std::uint32_t count,
                       std::size_t per_packet) {
  std::thread server = handheld.Serve(listener);
  auto tcp = desktop::TcpStream::Connect(listener.address());
  if (!tcp.ok()) Die(tcp.status().message());
  desktop::HandheldClient client(**tcp);
  std::vector<desktop::BatchEntry> entries;
  entries.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    entries.push_back({true, first + i, BenchContact(first + i).Encode()});
  }
  desktop::BatchWriter writer(client, DataType::kContacts, per_packet);
  auto statuses = writer.WriteAll(entries);
  if (!statuses.ok()) Die(statuses.status().message());
  if (auto s = client.EndSession(); !s.ok()) Die(s.message());
  (void)(*tcp)->Close();
  server.join();
  std::uint64_t ok = 0;
  for (const desktop::WriteStatus& status : *statuses) ok += status.ok ? 1 : 0;
  return ok;
}

std::string NewImage(const std::string& dir, const std::string& name) {
  std::string path = dir + "/" + name;
  if (auto s = device::Device::Init(path, {}); !s.ok()) Die(s.message());
  return path;
}

}  // namespace

RecordKind ContactKind() {
  return {DataType::kContacts, desktop::Contact::PropertyKindOf,
          [](const desktop::WireRecord& record) {
            auto contact = desktop::Contact::FromWireRecord(record);
            if (!contact.ok()) Die(contact.status().message());
            return desktop::VCard::Write(*contact);
          }};
}

FetchRecording RecordFetch(Handheld& handheld, const Listener& listener,
                           std::size_t chunk) {
  return RecordFetch(handheld, listener, chunk, ContactKind(), handheld.oids());
}

FetchRecording RecordFetch(Handheld& handheld, const Listener& listener,
                           std::size_t chunk, const RecordKind& kind,
                           std::span<const CEOID> oids) {
  FetchRecording fetch;
  fetch.kind = kind;
  std::thread server = handheld.Serve(listener);
  auto tcp = desktop::TcpStream::Connect(listener.address());
  if (!tcp.ok()) Die(tcp.status().message());
  RecordingStream recording(**tcp, fetch);
  desktop::HandheldClient client(recording);
  for (std::size_t start = 0; start < oids.size(); start += chunk) {
    std::span<const CEOID> ask =
        oids.subspan(start, std::min(chunk, oids.size() - start));
    fetch.chunks.emplace_back(ask.begin(), ask.end());
    auto batch = client.GetRecords(kind.type, fetch.chunks.back(), kind.layout);
    if (!batch.ok()) Die(batch.status().message());
    for (const desktop::WireRecord& record : batch->records) {
      fetch.oids.push_back(record.oid);
      fetch.cards.push_back(kind.render(record));
    }
  }
  if (auto s = client.EndSession(); !s.ok()) Die(s.message());
  (void)recording.Close();
  server.join();
  return fetch;
}

std::uint64_t ServeInProcess(Handheld& handheld,
                             const std::vector<std::uint8_t>& requests) {
  CountingChannel channel(requests);
  device::RunConversation(handheld.device(), channel, rsCeApiMgr);
  return channel.written();
}

StageResult MeasureServing(Handheld& handheld, const FetchRecording& fetch) {
  auto start = Clock::now();
  std::uint64_t written = ServeInProcess(handheld, fetch.requests);
  StageResult result{Since(start), fetch.oids.size()};
  if (written != fetch.replies.size()) {
    Die("the replayed conversation answered " + std::to_string(written) +
        " bytes, not " + std::to_string(fetch.replies.size()));
  }
  return result;
}

StageResult MeasureDecoding(const FetchRecording& fetch) {
  ReplayStream stream(fetch.replies);
  desktop::HandheldClient client(stream);
  std::vector<std::string> cards;
  cards.reserve(fetch.cards.size());
  auto start = Clock::now();
  for (const std::vector<std::uint32_t>& chunk : fetch.chunks) {
    auto batch = client.GetRecords(fetch.kind.type, chunk, fetch.kind.layout);
    if (!batch.ok()) Die(batch.status().message());
    for (const desktop::WireRecord& record : batch->records) {
      cards.push_back(fetch.kind.render(record));
    }
  }
  StageResult result{Since(start), cards.size()};
  if (cards != fetch.cards) Die("decoding the replay made other cards");
  return result;
}

StageResult MeasureFileFloor(const FetchRecording& fetch, std::size_t batch) {
  std::string root = MakeTempDir();
  std::string dir = root + "/cards";
  if (mkdir(dir.c_str(), 0777) != 0) Die("cannot make " + dir);
  int dir_fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd < 0) Die("cannot open " + dir);
  auto start = Clock::now();
  for (std::size_t first = 0; first < fetch.cards.size(); first += batch) {
    std::size_t end = std::min(first + batch, fetch.cards.size());
    for (std::size_t i = first; i < end; ++i) {
      std::string temp = "." + std::to_string(fetch.oids[i]) + ".vcf.tmp";
      int fd = openat(dir_fd, temp.c_str(),
                      O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
      if (fd < 0) Die("cannot create " + temp);
      const std::string& card = fetch.cards[i];
      std::size_t done = 0;
      while (done < card.size()) {
        ssize_t n = write(fd, card.data() + done, card.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) Die("cannot write " + temp);
        done += static_cast<std::size_t>(n);
      }
      if (close(fd) != 0) Die("cannot write " + temp);
    }
    if (syncfs(dir_fd) != 0) Die("cannot flush " + dir);
    for (std::size_t i = first; i < end; ++i) {
      std::string name = std::to_string(fetch.oids[i]) + ".vcf";
      if (renameat(dir_fd, ("." + name + ".tmp").c_str(), dir_fd,
                   name.c_str()) != 0) {
        Die("cannot rename into " + name);
      }
    }
  }
  if (fsync(dir_fd) != 0) Die("cannot flush " + dir);
  StageResult result{Since(start), fetch.cards.size()};
  close(dir_fd);
  RemoveTree(root);
  return result;
}

StageResult MeasurePush(const Listener& listener, std::uint32_t count,
                        const std::string& image) {
  std::unique_ptr<Handheld> handheld = image.empty()
                                           ? std::make_unique<Handheld>()
                                           : std::make_unique<Handheld>(image);
  auto start = Clock::now();
  std::uint64_t ok = PushOver(listener, *handheld, 1, count,
                              desktop::BatchWriter::kMaxRecords);
  StageResult result{Since(start), ok};
  if (ok != count) {
    Die("the handheld took " + std::to_string(ok) + " of " +
        std::to_string(count) + " pushed contacts");
  }
  return result;
}

CommitCost MeasureCommitCost(const Listener& listener, std::uint32_t packets) {
  const char* tmp = std::getenv("TMPDIR");
  CommitCost cost;
  cost.directory = MakeTempDir(tmp != nullptr && *tmp != 0 ? tmp : "/var/tmp");
  for (bool full : {true, false}) {
    Handheld handheld(NewImage(cost.directory, full ? "full.img" : "off.img"));
    if (!full) handheld.device().image().Exec("PRAGMA synchronous=OFF");
    auto start = Clock::now();
    PushOver(listener, handheld, 1, packets, 1);
    double ms = Since(start) * 1000 / packets;
    (full ? cost.full_ms_per_packet : cost.off_ms_per_packet) = ms;
  }
  RemoveTree(cost.directory);
  return cost;
}

void RemoveTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace bench
