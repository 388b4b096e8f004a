#include "bench/support/bench_handheld.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/session/entry_point.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"
#include "platform/pimstore.h"

namespace bench {

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void Die(const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", program_invocation_short_name,
               message.c_str());
  std::exit(1);
}

std::vector<std::uint32_t> ParseSizes(const std::string& text,
                                      std::uint32_t most) {
  std::vector<std::uint32_t> sizes;
  std::stringstream in(text);
  std::string part;
  while (std::getline(in, part, ',')) {
    char* end = nullptr;
    unsigned long value = std::strtoul(part.c_str(), &end, 10);
    if (part.empty() || *end != '\0' || value == 0 || value > most) {
      Die("bad size \"" + part + "\" (1 to " + std::to_string(most) + ")");
    }
    sizes.push_back(static_cast<std::uint32_t>(value));
  }
  std::sort(sizes.begin(), sizes.end());
  return sizes;
}

std::string MakeTempDir(const std::string& root) {
  // Memory (/dev/shm) unless TMPDIR names a place: on a disk, the host file
  // system's inode allocator slows file creation as a directory fills.
  const char* tmp = std::getenv("TMPDIR");
  std::string where = !root.empty()                   ? root
                      : tmp != nullptr && *tmp != 0   ? std::string(tmp)
                      : access("/dev/shm", W_OK) == 0 ? std::string("/dev/shm")
                                                      : std::string("/tmp");
  std::string base = where + "/vorn-sync-bench-XXXXXX";
  std::vector<char> name(base.begin(), base.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr)
    Die("cannot make a directory in " + where);
  return name.data();
}

Listener::Listener() {
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(fd_, 4) != 0 ||
      getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    Die(std::string("cannot listen on loopback: ") + std::strerror(errno));
  }
  port_ = ntohs(address.sin_port);
}

Listener::~Listener() { close(fd_); }

int Listener::Accept() const {
  int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) Die(std::string("accept: ") + std::strerror(errno));
  int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  return fd;
}

Handheld::Handheld()
    : device_(device::Device::InMemory()), writer_(&device_->changeLog()) {
  device_->SetMessageOutput(&messages_);
}

Handheld::Handheld(const std::string& path) {
  auto opened = device::Device::Open(path);
  if (!opened.ok()) Die(opened.status().message());
  device_ = std::move(*opened);
  writer_ = &device_->changeLog();
  device_->SetMessageOutput(&messages_);
}

void Handheld::AddContacts(std::uint32_t count) {
  Edit([&](device::OutlookApp& app) {
    for (std::uint32_t i = 0; i < count; ++i) {
      oids_.push_back(Add(app, next_++));
      if (i % 1000 == 999) app.SweepReleasedItems();
    }
  });
}

void Handheld::EditContacts(std::uint32_t edits, std::mt19937& random) {
  EditItems(
      oids_, edits, random,
      [this](device::OutlookApp& app) { return Add(app, next_++); },
      [](IDispatch* item, bool remove) {
        auto* contact = platform::ItemAs<IContact>(item);
        if (remove) {
          if (contact->Delete() < 0) Die("delete failed");
          return;
        }
        contact->put_JobTitle(u"Changed in the benchmark");
        if (contact->Save() < 0) Die("save failed");
      });
}

void Handheld::EditItems(
    std::vector<CEOID>& oids, std::uint32_t edits, std::mt19937& random,
    const std::function<CEOID(device::OutlookApp&)>& add,
    const std::function<void(IDispatch*, bool remove)>& edit) {
  Edit([&](device::OutlookApp& app) {
    for (std::uint32_t i = 0; i < edits; ++i) {
      if (i % 3 == 0 || oids.empty()) {
        oids.push_back(add(app));
        continue;
      }
      std::size_t at = random() % oids.size();
      IDispatch* item = nullptr;
      if (app.GetItemFromOid(static_cast<LONG>(oids[at]), &item) < 0) {
        Die("no item " + std::to_string(oids[at]));
      }
      bool remove = i % 3 == 2;
      edit(item, remove);
      if (remove) {
        oids[at] = oids.back();
        oids.pop_back();
      }
      item->Release();
    }
  });
}

std::thread Handheld::Serve(const Listener& listener) {
  return std::thread([this, &listener] {
    int fd = listener.Accept();
    device::FdChannel channel(fd, fd);
    device::RunConversation(*device_, channel, rsCeApiMgr);
    close(fd);
  });
}

CEOID Handheld::Add(device::OutlookApp& app, std::uint32_t n) {
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

}  // namespace bench
