#include "desktop/transport/rapi_invocation.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "desktop/transport/fd_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::LE32;

TEST(RapiInvocationTest, ParsesAddresses) {
  EXPECT_TRUE(RapiInvocation::IsRapiAddress("rapi://127.0.0.1:990"));
  EXPECT_TRUE(RapiInvocation::IsRapiAddress("rapi+unix:///tmp/s"));
  EXPECT_FALSE(RapiInvocation::IsRapiAddress("127.0.0.1:990"));

  auto tcp = RapiInvocation::ParseAddress("rapi://127.0.0.1:4000");
  ASSERT_TRUE(tcp.ok()) << tcp.status().message();
  EXPECT_FALSE(tcp->unix_socket);
  EXPECT_EQ(tcp->target, "127.0.0.1:4000");
  auto defaulted = RapiInvocation::ParseAddress("rapi://handheld");
  ASSERT_TRUE(defaulted.ok());
  EXPECT_EQ(defaulted->target, "handheld:990");
  auto v6 = RapiInvocation::ParseAddress("rapi://[::1]:77");
  ASSERT_TRUE(v6.ok());
  EXPECT_EQ(v6->target, "[::1]:77");
  auto unix = RapiInvocation::ParseAddress("rapi+unix:///run/h.sock");
  ASSERT_TRUE(unix.ok());
  EXPECT_TRUE(unix->unix_socket);
  EXPECT_EQ(unix->target, "/run/h.sock");

  EXPECT_FALSE(RapiInvocation::ParseAddress("rapi://").ok());
  EXPECT_FALSE(RapiInvocation::ParseAddress("rapi+unix://").ok());
  EXPECT_FALSE(RapiInvocation::ParseAddress("rapi://host:99999").ok());
  EXPECT_FALSE(RapiInvocation::ParseAddress("rapi://host:x").ok());
  EXPECT_FALSE(RapiInvocation::ParseAddress("tcp://host:1").ok());
}

TEST(RapiInvocationTest, ParsesPasswordKeys) {
  EXPECT_EQ(*RapiInvocation::ParsePasswordKey("0"), 0);
  EXPECT_EQ(*RapiInvocation::ParsePasswordKey("255"), 255);
  EXPECT_EQ(*RapiInvocation::ParsePasswordKey("0xA5"), 0xA5);
  for (const char* bad : {"", "256", "-1", "0x", "0x100", "12a", "a"}) {
    EXPECT_FALSE(RapiInvocation::ParsePasswordKey(bad).ok()) << bad;
  }
}

TEST(RapiInvocationTest, PasswordStepBytes) {
  // "ab" + NUL = 61 00 62 00 00 00, XOR 0x5A.
  EXPECT_EQ(RapiInvocation::PasswordStep("ab", 0x5A),
            (Bytes{6, 0, 0x3B, 0x5A, 0x38, 0x5A, 0x5A, 0x5A}));
  EXPECT_EQ(RapiInvocation::PasswordStep("\xC3\xA9", 0),  // é
            (Bytes{4, 0, 0xE9, 0, 0, 0}));
}

TEST(RapiInvocationTest, InvokeRequestBytes) {
  EXPECT_EQ(RapiInvocation::InvokeRequest(0x45, u"AB", u"f", {9}, true),
            Cat({LE32(39),
                 LE32(0x45),
                 LE32(1),
                 LE32(3),
                 {'A', 0, 'B', 0, 0, 0},
                 LE32(1),
                 LE32(2),
                 {'f', 0, 0, 0},
                 LE32(1),
                 {9},
                 LE32(1)}));
  EXPECT_EQ(RapiInvocation::InvokeRequest(0x4c, u"AB", u"f", {}, false),
            Cat({LE32(30),
                 LE32(0x4c),
                 LE32(6),
                 {'A', 0, 'B', 0, 0, 0},
                 LE32(4),
                 {'f', 0, 0, 0},
                 LE32(0),
                 LE32(0)}));
}

// The desktop's end of a socket pair and the handheld's raw end.
class Pair {
 public:
  Pair() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    desktop_ = std::make_unique<FdStream>(fds[0], fds[0]);
    handheld_ = fds[1];
  }
  ~Pair() { close(handheld_); }
  FdStream& desktop() { return *desktop_; }
  void Answer(const Bytes& bytes) {
    ASSERT_EQ(write(handheld_, bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  void CloseHandheld() { shutdown(handheld_, SHUT_WR); }
  // Everything the desktop sent so far.
  Bytes Sent() {
    desktop_->Close().ok();
    Bytes out;
    std::uint8_t buffer[512];
    ssize_t got;
    while ((got = read(handheld_, buffer, sizeof(buffer))) > 0) {
      out.insert(out.end(), buffer, buffer + got);
    }
    return out;
  }

 private:
  std::unique_ptr<FdStream> desktop_;
  int handheld_;
};

Bytes AgentInvoke(std::uint32_t command) {
  return RapiInvocation::InvokeRequest(command, u"VORNAPIMGR", u"rsCeApiMgr",
                                       {}, true);
}

TEST(RapiInvocationTest, PasswordThenFlaggedInvoke) {
  Pair pair;
  pair.Answer(Cat({{1}, LE32(0)}));
  RapiOptions options;
  options.password = "pw";
  options.password_key = 7;
  ASSERT_TRUE(RapiInvocation::Invoke(pair.desktop(), true, options).ok());
  EXPECT_EQ(pair.Sent(),
            Cat({RapiInvocation::PasswordStep("pw", 7), AgentInvoke(0x45)}));
}

TEST(RapiInvocationTest, CountedInvokeReadsItsAnswerPacket) {
  Pair pair;
  pair.Answer(Cat({LE32(4), LE32(0)}));
  RapiOptions options;
  options.command = 0x4c;
  ASSERT_TRUE(RapiInvocation::Invoke(pair.desktop(), false, options).ok());
  EXPECT_EQ(pair.Sent(), AgentInvoke(0x4c));
}

TEST(RapiInvocationTest, RefusalsAreReadableErrors) {
  {
    Pair pair;
    pair.Answer({0});
    pair.CloseHandheld();
    RapiOptions options;
    options.password = "bad";
    Status status = RapiInvocation::Invoke(pair.desktop(), true, options);
    EXPECT_EQ(status.message(), "the handheld refused the device password");
  }
  {
    Pair pair;
    pair.Answer(LE32(127));
    Status status = RapiInvocation::Invoke(pair.desktop(), false, {});
    EXPECT_EQ(status.message(),
              "the handheld refused to invoke the agent (last error 127, "
              "function not found)");
  }
  {
    Pair pair;
    pair.Answer(Cat({LE32(4), LE32(170)}));
    RapiOptions options;
    options.command = 0x4c;
    Status status = RapiInvocation::Invoke(pair.desktop(), false, options);
    EXPECT_EQ(status.message(),
              "the handheld refused to invoke the agent (last error 170, busy "
              "with another desktop)");
  }
  {
    Pair pair;
    pair.Answer({0});  // a password step's refusal to a desktop without one
    pair.CloseHandheld();
    Status status = RapiInvocation::Invoke(pair.desktop(), false, {});
    EXPECT_NE(status.message().find("give --password"), std::string::npos)
        << status.message();
  }
}

// Reads what arrives on `fd` until it closes.
Bytes ReadUntilClosed(int fd) {
  Bytes out;
  std::uint8_t buffer[256];
  ssize_t got;
  while ((got = read(fd, buffer, sizeof(buffer))) > 0) {
    out.insert(out.end(), buffer, buffer + got);
  }
  return out;
}

TEST(RapiInvocationTest, OpenKeepsAnIdleFirstConnectionBesideTheStream) {
  std::string path = (std::filesystem::temp_directory_path() /
                      ("vorn-rapi-desktop-" + std::to_string(getpid())))
                         .string();
  unlink(path.c_str());
  int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  ASSERT_EQ(
      bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)),
      0);
  ASSERT_EQ(listen(listener, 4), 0);
  Bytes idleSaw, streamSaw;
  bool idleQuietDuringInvoke = false;
  std::thread handheld([&] {
    int idle = accept(listener, nullptr, nullptr);
    int stream = accept(listener, nullptr, nullptr);
    Bytes invoke = AgentInvoke(0x45);
    streamSaw.resize(invoke.size());
    std::size_t done = 0;
    while (done < streamSaw.size()) {
      ssize_t got =
          read(stream, streamSaw.data() + done, streamSaw.size() - done);
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    pollfd wait{idle, POLLIN, 0};
    idleQuietDuringInvoke = poll(&wait, 1, 0) == 0;
    Bytes answer = LE32(0);
    EXPECT_EQ(write(stream, answer.data(), answer.size()), 4);
    idleSaw = ReadUntilClosed(idle);
    ReadUntilClosed(stream);
    close(idle);
    close(stream);
  });
  RapiOptions options;
  options.password = "ignored on a local socket";
  auto opened = RapiInvocation::Open("rapi+unix://" + path, options);
  ASSERT_TRUE(opened.ok()) << opened.status().message();
  EXPECT_TRUE((*opened)->Close().ok());
  handheld.join();
  close(listener);
  unlink(path.c_str());
  EXPECT_EQ(streamSaw, AgentInvoke(0x45));
  EXPECT_TRUE(idleQuietDuringInvoke);
  EXPECT_TRUE(idleSaw.empty());
}

}  // namespace
}  // namespace desktop
