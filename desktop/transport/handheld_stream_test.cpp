#include "desktop/transport/handheld_stream.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "desktop/transport/child_process_stream.h"
#include "desktop/transport/scripted_stream.h"
#include "desktop/transport/tcp_stream.h"

namespace desktop {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(HandheldStreamTest, ReadsAFrameInPieces) {
  ScriptedStream stream;
  stream.AddReply({1, 2, 3, 4, 5, 6, 7});
  Result<Bytes> frame = stream.ReadFrame();
  ASSERT_TRUE(frame.ok()) << frame.status().message();
  EXPECT_EQ(*frame, (Bytes{1, 2, 3, 4, 5, 6, 7}));
}

TEST(HandheldStreamTest, EmptyFrame) {
  ScriptedStream stream;
  stream.AddReply({});
  Result<Bytes> frame = stream.ReadFrame();
  ASSERT_TRUE(frame.ok());
  EXPECT_TRUE(frame->empty());
}

TEST(HandheldStreamTest, EndInsideLengthIsAnError) {
  ScriptedStream stream;
  stream.AddRaw({5, 0});
  Result<Bytes> frame = stream.ReadFrame();
  ASSERT_FALSE(frame.ok());
  EXPECT_EQ(frame.status().message(), "handheld closed the conversation");
}

TEST(HandheldStreamTest, EndInsidePayloadIsAnError) {
  ScriptedStream stream;
  stream.AddRaw({5, 0, 0, 0, 1, 2});
  Result<Bytes> frame = stream.ReadFrame();
  ASSERT_FALSE(frame.ok());
  EXPECT_EQ(frame.status().message(), "handheld closed the conversation");
}

TEST(HandheldStreamTest, AbsurdLengthIsRefused) {
  ScriptedStream stream;
  stream.AddRaw({0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_FALSE(stream.ReadFrame().ok());
}

TEST(HandheldStreamTest, WriteFramePrefixesTheLength) {
  ScriptedStream stream;
  ASSERT_TRUE(stream.WriteFrame(Bytes{1, 1}).ok());
  EXPECT_EQ(stream.written(), (Bytes{2, 0, 0, 0, 1, 1}));
}

TEST(ChildProcessStreamTest, TalksToAChild) {
  // cat answers every frame with the frame itself.
  auto child = ChildProcessStream::Spawn({"/bin/cat"});
  ASSERT_TRUE(child.ok()) << child.status().message();
  ASSERT_TRUE((*child)->WriteFrame(Bytes{6, 1}).ok());
  Result<Bytes> frame = (*child)->ReadFrame();
  ASSERT_TRUE(frame.ok()) << frame.status().message();
  EXPECT_EQ(*frame, (Bytes{6, 1}));
  EXPECT_TRUE((*child)->Close().ok());
  EXPECT_TRUE((*child)->Close().ok());
}

TEST(ChildProcessStreamTest, ChildThatLeavesIsAnErrorNotAHang) {
  auto child = ChildProcessStream::Spawn({"/bin/sh", "-c", "printf 'AB'"});
  ASSERT_TRUE(child.ok());
  Result<Bytes> frame = (*child)->ReadFrame();
  ASSERT_FALSE(frame.ok());
  EXPECT_EQ(frame.status().message(), "handheld closed the conversation");
  // Writing to it now fails as a value (no SIGPIPE).
  Status written = Status::Ok();
  for (int i = 0; i < 100 && written.ok(); ++i) {
    written = (*child)->WriteFrame(Bytes(4096, 0));
  }
  EXPECT_FALSE(written.ok());
}

TEST(ChildProcessStreamTest, ExitStatusIsReportedOnClose) {
  auto child = ChildProcessStream::Spawn({"/bin/sh", "-c", "exit 3"});
  ASSERT_TRUE(child.ok());
  Status closed = (*child)->Close();
  ASSERT_FALSE(closed.ok());
  EXPECT_NE(closed.message().find("status 3"), std::string::npos);
}

TEST(ChildProcessStreamTest, MissingProgramIsAnError) {
  auto child = ChildProcessStream::Spawn({"/nonexistent/vorn-device"});
  ASSERT_FALSE(child.ok());
  EXPECT_NE(child.status().message().find("cannot run"), std::string::npos);
}

TEST(ChildProcessStreamTest, DeviceProgramFromEnvironment) {
  setenv("VORN_DEVICE", "/bin/cat", 1);
  Result<std::string> found = ChildProcessStream::FindDeviceProgram();
  ASSERT_TRUE(found.ok());
  EXPECT_EQ(*found, "/bin/cat");
  setenv("VORN_DEVICE", "/nonexistent/x", 1);
  EXPECT_FALSE(ChildProcessStream::FindDeviceProgram().ok());
  unsetenv("VORN_DEVICE");
}

TEST(TcpStreamTest, SplitsHostAndPort) {
  std::string host, port;
  ASSERT_TRUE(TcpStream::SplitHostPort("127.0.0.1:7001", &host, &port).ok());
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(port, "7001");
  ASSERT_TRUE(TcpStream::SplitHostPort("[::1]:80", &host, &port).ok());
  EXPECT_EQ(host, "::1");
  EXPECT_FALSE(TcpStream::SplitHostPort("localhost", &host, &port).ok());
  EXPECT_FALSE(TcpStream::SplitHostPort("localhost:", &host, &port).ok());
  EXPECT_FALSE(TcpStream::SplitHostPort("h:99999", &host, &port).ok());
  EXPECT_FALSE(TcpStream::SplitHostPort("h:12a", &host, &port).ok());
}

// A one-connection server on a loopback port that reads one frame, answers
// with `reply` bytes as they stand, then closes.
class FakeServer {
 public:
  explicit FakeServer(const Bytes& reply) {
    listen_fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr),
              0);
    listen(listen_fd_, 1);
    socklen_t len = sizeof addr;
    getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this, reply] {
      int fd = accept(listen_fd_, nullptr, nullptr);
      if (fd < 0) return;
      std::uint8_t buffer[6];
      std::size_t got = 0;
      while (got < sizeof buffer) {
        ssize_t n = read(fd, buffer + got, sizeof buffer - got);
        if (n <= 0) break;
        got += static_cast<std::size_t>(n);
      }
      received_.assign(buffer, buffer + got);
      if (!reply.empty()) {
        ssize_t ignored = write(fd, reply.data(), reply.size());
        (void)ignored;
      }
      close(fd);
    });
  }
  ~FakeServer() {
    thread_.join();
    close(listen_fd_);
  }
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  const Bytes& received() const { return received_; }

 private:
  int listen_fd_;
  int port_ = 0;
  std::thread thread_;
  Bytes received_;
};

TEST(TcpStreamTest, ExchangesAFrame) {
  Bytes received;
  {
    FakeServer server({6, 0, 0, 0, 1, 0, 3, 0, 0, 0});
    auto stream = TcpStream::Connect(server.address());
    ASSERT_TRUE(stream.ok()) << stream.status().message();
    ASSERT_TRUE((*stream)->WriteFrame(Bytes{6, 1}).ok());
    Result<Bytes> frame = (*stream)->ReadFrame();
    ASSERT_TRUE(frame.ok()) << frame.status().message();
    EXPECT_EQ(*frame, (Bytes{1, 0, 3, 0, 0, 0}));
  }
}

TEST(TcpStreamTest, ServerThatClosesEarlyIsAnError) {
  FakeServer server({10, 0, 0, 0, 1});
  auto stream = TcpStream::Connect(server.address());
  ASSERT_TRUE(stream.ok());
  ASSERT_TRUE((*stream)->WriteFrame(Bytes{6, 1}).ok());
  Result<Bytes> frame = (*stream)->ReadFrame();
  ASSERT_FALSE(frame.ok());
  EXPECT_EQ(frame.status().message(), "handheld closed the conversation");
}

TEST(TcpStreamTest, NobodyListening) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  socklen_t len = sizeof addr;
  getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  int port = ntohs(addr.sin_port);
  close(fd);  // the port is now most likely free
  auto stream = TcpStream::Connect("127.0.0.1:" + std::to_string(port));
  EXPECT_FALSE(stream.ok());
}

}  // namespace
}  // namespace desktop
