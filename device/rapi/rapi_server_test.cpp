#include "device/rapi/rapi_server.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "platform/api.h"
#include "platform/fault.h"
#include "protocol/wire.h"
#include "tests/support/rapi_client.h"

namespace device {
namespace {

using std::chrono::milliseconds;
using testing_support::Bytes;
using testing_support::Cat;
using testing_support::LE32;
using testing_support::RawConnection;

std::atomic<int> g_conversations{0};
std::atomic<bool> g_gateOpen{false};

// Like the agent: answers each request frame with a frame holding the
// number of this conversation and the packet reversed, until a packet whose
// first byte is 1. The count of conversations is module state.
HRESULT EchoEntry(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream* stream) {
  auto number = static_cast<BYTE>(++g_conversations);
  try {
    while (true) {
      BYTE frame[4];
      stream->Read(frame, 4, nullptr);
      Bytes packet(protocol::GetU32(frame));
      stream->Read(packet.data(), static_cast<ULONG>(packet.size()), nullptr);
      Bytes reply = {number};
      reply.insert(reply.end(), packet.rbegin(), packet.rend());
      protocol::PutU32(frame, static_cast<std::uint32_t>(reply.size()));
      stream->Write(frame, 4, nullptr);
      stream->Write(reply.data(), static_cast<ULONG>(reply.size()), nullptr);
      if (!packet.empty() && packet[0] == 1) break;
    }
  } catch (const platform::Fault&) {
  }
  stream->Release();
  return S_OK;
}

// Buffer mode: the input reversed as output, S_FALSE.
HRESULT ReverseEntry(DWORD size, BYTE* input, DWORD* outSize, BYTE** output,
                     IRAPIStream*) {
  auto* out = static_cast<BYTE*>(LocalAlloc(0, size));
  std::reverse_copy(input, input + size, out);
  *outSize = size;
  *output = out;
  return S_FALSE;
}

// Holds the handheld until the test opens the gate.
HRESULT GateEntry(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream* stream) {
  while (!g_gateOpen) std::this_thread::sleep_for(milliseconds(5));
  stream->Release();
  return S_OK;
}

constexpr std::uint8_t kKey = 0x5A;

class RapiServerTest : public ::testing::Test {
 protected:
  void Start(std::optional<std::u16string> password = std::nullopt,
             milliseconds busyTimeout = milliseconds(30'000),
             std::size_t maxConnections = 64) {
    g_gateOpen = false;
    password_ = std::move(password);
    device_ = Device::InMemory();
    device_->SetMessageOutput(&messages_);
    RapiModules modules;
    modules.Add(u"ECHO", u"Echo", &EchoEntry);
    modules.Add(u"ECHO", u"Reverse", &ReverseEntry);
    modules.Add(u"GATE", u"Wait", &GateEntry);
    RapiServerOptions options;
    options.passwordKey = kKey;
    options.busyTimeout = busyTimeout;
    options.maxConnections = maxConnections;
    options.log = &log_;
    server_ = std::make_unique<RapiServer>(
        *device_, std::move(modules), [this] { return password_; }, options);
    auto tcp = RapiListener::Tcp("127.0.0.1:0", false);
    ASSERT_TRUE(tcp.ok()) << tcp.status().message();
    std::string path = (std::filesystem::temp_directory_path() /
                        ("vorn-rapi-" + std::to_string(::getpid()) + ".sock"))
                           .string();
    auto unix = RapiListener::Unix(path);
    ASSERT_TRUE(unix.ok()) << unix.status().message();
    tcp_ = tcp->address();
    unix_ = unix->address();
    std::vector<RapiListener> listeners;
    listeners.push_back(std::move(*tcp));
    listeners.push_back(std::move(*unix));
    serving_ = std::thread([this, all = std::move(listeners)]() mutable {
      served_ = server_->Serve(std::move(all));
    });
  }
  // Stops the server and returns its log.
  std::string Stop() {
    if (serving_.joinable()) {
      server_->Stop();
      serving_.join();
    }
    return log_.str();
  }
  void TearDown() override {
    g_gateOpen = true;
    Stop();
  }

  // Invokes ECHO!Echo in stream mode on `connection` and checks one round.
  void Converse(RawConnection& connection, int expectedNumber) {
    ASSERT_TRUE(connection.Send(
        testing_support::RapiInvoke45(u"echo.dll", u"Echo", {}, true)));
    ASSERT_EQ(connection.Recv(4), LE32(0));
    ASSERT_TRUE(connection.Send(Cat({LE32(3), {1, 2, 3}})));
    EXPECT_EQ(
        connection.Recv(8),
        Cat({LE32(4), {static_cast<std::uint8_t>(expectedNumber), 3, 2, 1}}));
    EXPECT_TRUE(connection.ClosedByServer());
  }

  std::optional<std::u16string> password_;
  std::unique_ptr<Device> device_;
  std::ostringstream messages_;
  std::ostringstream log_;
  std::unique_ptr<RapiServer> server_;
  std::thread serving_;
  Status served_ = Status::Ok();
  std::string tcp_;
  std::string unix_;
};

TEST_F(RapiServerTest, FlaggedInvokeAnswersFourBytesThenTheStreamFollows) {
  Start();
  int before = g_conversations;
  RawConnection desktop(tcp_);
  ASSERT_TRUE(desktop.connected());
  ASSERT_TRUE(
      desktop.Send(testing_support::RapiInvoke45(u"ECHO", u"Echo", {}, true)));
  EXPECT_EQ(desktop.Recv(4), LE32(0));
  ASSERT_TRUE(desktop.Send(Cat({LE32(2), {9, 5}})));
  EXPECT_EQ(desktop.Recv(7),
            Cat({LE32(3), {static_cast<std::uint8_t>(before + 1), 5, 9}}));
  ASSERT_TRUE(desktop.Send(Cat({LE32(2), {1, 1}})));
  EXPECT_EQ(desktop.Recv(7),
            Cat({LE32(3), {static_cast<std::uint8_t>(before + 1), 1, 1}}));
  EXPECT_TRUE(desktop.ClosedByServer());
  EXPECT_TRUE(Stop().empty());
  EXPECT_TRUE(served_.ok());
  EXPECT_FALSE(device_->image().InTransaction());
}

TEST_F(RapiServerTest, CountedInvokeAnswersOnePacketThenTheStreamFollows) {
  Start();
  int before = g_conversations;
  RawConnection desktop(unix_);
  ASSERT_TRUE(desktop.connected());
  ASSERT_TRUE(
      desktop.Send(testing_support::RapiInvoke4c(u"Echo", u"Echo", {}, true)));
  EXPECT_EQ(desktop.Recv(8), Cat({LE32(4), LE32(0)}));
  ASSERT_TRUE(desktop.Send(Cat({LE32(1), {1}})));
  EXPECT_EQ(desktop.Recv(6),
            Cat({LE32(2), {static_cast<std::uint8_t>(before + 1), 1}}));
  EXPECT_TRUE(desktop.ClosedByServer());
}

TEST_F(RapiServerTest, SeveralInvokesInARowShareTheLoadedModule) {
  Start();
  int before = g_conversations;
  for (int round = 1; round <= 3; ++round) {
    RawConnection desktop(round % 2 == 0 ? unix_ : tcp_);
    ASSERT_TRUE(desktop.connected());
    Converse(desktop, before + round);
  }
}

TEST_F(RapiServerTest, PasswordStepOnTcpOnly) {
  Start(u"sesam");
  int before = g_conversations;
  {
    RawConnection right(tcp_);
    ASSERT_TRUE(right.Send(testing_support::RapiPasswordStep(u"sesam", kKey)));
    EXPECT_EQ(right.Recv(1), Bytes{1});
    Converse(right, before + 1);
  }
  {
    RawConnection wrong(tcp_);
    ASSERT_TRUE(wrong.Send(testing_support::RapiPasswordStep(u"sesan", kKey)));
    EXPECT_EQ(wrong.Recv(1), Bytes{0});
    EXPECT_TRUE(wrong.ClosedByServer());
  }
  {
    RawConnection wrongKey(tcp_);
    ASSERT_TRUE(
        wrongKey.Send(testing_support::RapiPasswordStep(u"sesam", kKey ^ 1)));
    EXPECT_EQ(wrongKey.Recv(1), Bytes{0});
    EXPECT_TRUE(wrongKey.ClosedByServer());
  }
  {
    RawConnection local(unix_);
    Converse(local, before + 2);
  }
  std::string log = Stop();
  EXPECT_NE(log.find("wrong device password; connection closed"),
            std::string::npos)
      << log;
}

TEST_F(RapiServerTest, UnknownModulesAndFunctionsAreRefused) {
  Start();
  struct Case {
    Bytes request;
    Bytes answer;
  };
  const Case cases[] = {
      {testing_support::RapiInvoke45(u"NOPE", u"Echo", {}, true), LE32(126)},
      {testing_support::RapiInvoke45NoModule(u"Echo"), LE32(126)},
      {testing_support::RapiInvoke45(u"ECHO", u"echo", {}, true), LE32(127)},
      {testing_support::RapiInvoke4c(u"ECHO", u"Nope", {}, true),
       Cat({LE32(4), LE32(127)})},
      {testing_support::RapiInvoke45(u"NOPE", u"Echo", {}, false),
       Cat({LE32(16), LE32(0), LE32(126), LE32(0x8007007E), LE32(0), LE32(0)})},
      {testing_support::RapiInvoke4c(u"ECHO", u"Nope", {}, false),
       Cat({LE32(12), LE32(127), LE32(0x8007007F), LE32(0)})},
  };
  for (const Case& test : cases) {
    RawConnection desktop(tcp_);
    ASSERT_TRUE(desktop.Send(test.request));
    EXPECT_EQ(desktop.Recv(test.answer.size()), test.answer);
    EXPECT_TRUE(desktop.ClosedByServer());
  }
  int before = g_conversations;
  RawConnection after(tcp_);
  Converse(after, before + 1);
  std::string log = Stop();
  EXPECT_NE(log.find("invoke of NOPE!Echo refused with last error 126"),
            std::string::npos)
      << log;
}

TEST_F(RapiServerTest, BufferModeAnswersTheCallAndKeepsTheConnection) {
  Start();
  RawConnection desktop(tcp_);
  ASSERT_TRUE(desktop.Send(
      testing_support::RapiInvoke45(u"ECHO", u"Reverse", {1, 2, 3}, false)));
  EXPECT_EQ(desktop.Recv(27), Cat({LE32(19),
                                   LE32(0),
                                   LE32(0),
                                   LE32(S_FALSE),
                                   LE32(3),
                                   {3, 2, 1},
                                   LE32(0)}));
  ASSERT_TRUE(desktop.Send(
      testing_support::RapiInvoke4c(u"ECHO", u"Reverse", {4, 5}, false)));
  EXPECT_EQ(desktop.Recv(18),
            Cat({LE32(14), LE32(0), LE32(S_FALSE), LE32(2), {5, 4}}));
  // Still the same connection: a stream-mode invoke follows.
  Converse(desktop, g_conversations + 1);
}

TEST_F(RapiServerTest, OtherCommandsCloseOnlyTheirConnection) {
  Start();
  RawConnection other(tcp_);
  ASSERT_TRUE(other.Send(Cat({LE32(8), LE32(0x12), LE32(0)})));
  EXPECT_TRUE(other.ClosedByServer());
  RawConnection tooShort(tcp_);
  ASSERT_TRUE(tooShort.Send(Cat({LE32(2), {0x45, 0}})));
  EXPECT_TRUE(tooShort.ClosedByServer());
  RawConnection malformed(tcp_);
  ASSERT_TRUE(malformed.Send(Cat({LE32(8), LE32(0x45), LE32(1)})));
  EXPECT_TRUE(malformed.ClosedByServer());
  RawConnection next(tcp_);
  Converse(next, g_conversations + 1);
  std::string log = Stop();
  EXPECT_NE(log.find("remote API connection 1: remote API command 0x00000012 "
                     "is not served; connection closed"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("malformed invoke request"), std::string::npos) << log;
}

TEST_F(RapiServerTest, IdleConnectionsDoNotHoldUpAnInvoke) {
  Start(u"pw");
  RawConnection idle(tcp_);
  ASSERT_TRUE(idle.Send(testing_support::RapiPasswordStep(u"pw", kKey)));
  ASSERT_EQ(idle.Recv(1), Bytes{1});
  RawConnection halfway(tcp_);  // stops inside its password step
  ASSERT_TRUE(halfway.Send(Bytes{6, 0, 1}));
  RawConnection silent(unix_);  // says nothing at all
  RawConnection desktop(tcp_);
  ASSERT_TRUE(desktop.Send(testing_support::RapiPasswordStep(u"pw", kKey)));
  ASSERT_EQ(desktop.Recv(1), Bytes{1});
  Converse(desktop, g_conversations + 1);
  EXPECT_GE(server_->OpenConnections(), 3u);
  // Stopping ends the idle ones too.
  Stop();
  EXPECT_TRUE(idle.ClosedByServer());
  EXPECT_TRUE(halfway.ClosedByServer());
}

TEST_F(RapiServerTest, ADesktopLeavingMidConversationLeavesTheServerServing) {
  Start();
  int before = g_conversations;
  {
    RawConnection leaving(tcp_);
    ASSERT_TRUE(leaving.Send(
        testing_support::RapiInvoke45(u"ECHO", u"Echo", {}, true)));
    ASSERT_EQ(leaving.Recv(4), LE32(0));
    ASSERT_TRUE(leaving.Send(Cat({LE32(10), {1, 2}})));
  }
  // The leaving desktop's call counted as one conversation.
  RawConnection next(tcp_);
  Converse(next, before + 2);
  Stop();
  EXPECT_FALSE(device_->image().InTransaction());
}

TEST_F(RapiServerTest, InvokesWaitForTheCallBeforeThemOrAreRefusedAsBusy) {
  Start(std::nullopt, milliseconds(300));
  RawConnection holder(tcp_);
  ASSERT_TRUE(
      holder.Send(testing_support::RapiInvoke45(u"GATE", u"Wait", {}, true)));
  ASSERT_EQ(holder.Recv(4), LE32(0));
  RawConnection refused(tcp_);
  ASSERT_TRUE(
      refused.Send(testing_support::RapiInvoke45(u"ECHO", u"Echo", {}, true)));
  EXPECT_EQ(refused.Recv(4), LE32(170));
  EXPECT_TRUE(refused.ClosedByServer());
  RawConnection refusedBuffer(unix_);
  ASSERT_TRUE(refusedBuffer.Send(
      testing_support::RapiInvoke4c(u"ECHO", u"Reverse", {1}, false)));
  EXPECT_EQ(refusedBuffer.Recv(16),
            Cat({LE32(12), LE32(170), LE32(0x800700AA), LE32(0)}));
  int before = g_conversations;
  RawConnection waiting(tcp_);
  ASSERT_TRUE(
      waiting.Send(testing_support::RapiInvoke45(u"ECHO", u"Echo", {}, true)));
  std::this_thread::sleep_for(milliseconds(50));
  g_gateOpen = true;
  EXPECT_TRUE(holder.ClosedByServer());
  ASSERT_EQ(waiting.Recv(4), LE32(0));
  ASSERT_TRUE(waiting.Send(Cat({LE32(1), {1}})));
  EXPECT_EQ(waiting.Recv(6),
            Cat({LE32(2), {static_cast<std::uint8_t>(before + 1), 1}}));
  std::string log = Stop();
  EXPECT_NE(log.find("refused with last error 170 (another call is still "
                     "running)"),
            std::string::npos)
      << log;
}

TEST_F(RapiServerTest, ConnectionsBeyondTheLimitAreClosed) {
  Start(std::nullopt, milliseconds(30'000), 2);
  RawConnection first(tcp_);
  RawConnection second(unix_);
  // Both are served (and so counted) before the third arrives.
  ASSERT_TRUE(first.Send(
      testing_support::RapiInvoke45(u"ECHO", u"Reverse", {1}, false)));
  ASSERT_EQ(first.Recv(25).size(), 25u);
  ASSERT_TRUE(second.Send(
      testing_support::RapiInvoke45(u"ECHO", u"Reverse", {1}, false)));
  ASSERT_EQ(second.Recv(25).size(), 25u);
  RawConnection third(tcp_);
  EXPECT_TRUE(third.ClosedByServer());
  first.Close();
  // Once one has gone, a new connection is served again.
  bool served = false;
  for (int attempt = 0; attempt < 100 && !served; ++attempt) {
    RawConnection next(tcp_);
    next.Send(testing_support::RapiInvoke45(u"ECHO", u"Reverse", {1}, false));
    served = next.Recv(25).size() == 25u;
    if (!served) std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_TRUE(served);
  std::string log = Stop();
  EXPECT_NE(log.find("2 connections are open; a new one was closed"),
            std::string::npos)
      << log;
}

TEST_F(RapiServerTest, StopEndsAConversationInProgress) {
  Start();
  RawConnection desktop(tcp_);
  ASSERT_TRUE(
      desktop.Send(testing_support::RapiInvoke45(u"ECHO", u"Echo", {}, true)));
  ASSERT_EQ(desktop.Recv(4), LE32(0));
  Stop();
  EXPECT_TRUE(desktop.ClosedByServer());
  EXPECT_EQ(platform::CurrentServices().registry, nullptr);
}

}  // namespace
}  // namespace device
