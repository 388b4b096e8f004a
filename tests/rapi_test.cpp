// The handheld's remote API server as desktops meet it: `vorn-device serve
// --rapi/--rapi-unix` with the real agent, spoken to byte by byte and
// through `vorn --device rapi://...`.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/rapi_client.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;
using testing_support::RawConnection;
using testing_support::RunProgram;

constexpr std::uint8_t kKey = 90;

class RapiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = dir_.path("d.img");
    auto init = RunProgram({"vorn-device", "init", image_, "--machine-id",
                            "PDA-9", "--password", "sesam"});
    ASSERT_EQ(init.exitCode, 0) << init.err;
    socket_ = dir_.path("rapi.sock");
    server_ = std::make_unique<testing_support::ListeningServer>(
        image_, std::vector<std::string>{"--password-key", "90"},
        std::vector<std::string>{"--rapi", "127.0.0.1:0", "--rapi-unix",
                                 socket_});
    ASSERT_FALSE(server_->address().empty()) << server_->err();
    tcp_ = server_->address();
  }
  // Stops the server; returns its exit status, its stderr in err().
  int StopServer() { return server_->Stop(); }

  static void PassPassword(RawConnection& desktop) {
    ASSERT_TRUE(
        desktop.Send(testing_support::RapiPasswordStep(u"sesam", kKey)));
    ASSERT_EQ(desktop.Recv(1), Bytes{1});
  }
  // After a successful invoke: a whole conversation with the agent, which
  // then ends the call and the connection.
  static void Converse(RawConnection& desktop) {
    ASSERT_TRUE(desktop.Send(testing_support::FramePacket({14, 1})));
    EXPECT_EQ(desktop.RecvPacket(), testing_support::ReplyFrame(
                                        Cat({LE32(0x3C), Counted(u"PDA-9")})));
    ASSERT_TRUE(desktop.Send(testing_support::FramePacket({6, 1})));
    EXPECT_EQ(desktop.RecvPacket(),
              testing_support::ReplyFrame({1, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(desktop.Send(testing_support::FramePacket({1, 1})));
    EXPECT_EQ(desktop.Recv(4), LE32(0));
    EXPECT_TRUE(desktop.ClosedByServer());
  }
  static Bytes AgentInvoke45(bool stream = true) {
    return testing_support::RapiInvoke45(u"VORNAPIMGR", u"rsCeApiMgr", {},
                                         stream);
  }

  testing_support::TempDir dir_;
  std::string image_;
  std::string socket_;
  std::string tcp_;
  std::unique_ptr<testing_support::ListeningServer> server_;
};

TEST_F(RapiTest, FlaggedInvokeOverTcpWithThePassword) {
  RawConnection desktop(tcp_);
  ASSERT_TRUE(desktop.connected());
  PassPassword(desktop);
  ASSERT_TRUE(desktop.Send(AgentInvoke45()));
  ASSERT_EQ(desktop.Recv(4), LE32(0));
  Converse(desktop);
  EXPECT_EQ(StopServer(), 0) << server_->err();
}

TEST_F(RapiTest, CountedInvokeOverTheUnixSocketHasNoPasswordStep) {
  RawConnection desktop("unix:" + socket_);
  ASSERT_TRUE(desktop.connected());
  ASSERT_TRUE(desktop.Send(testing_support::RapiInvoke4c(
      u"vornapimgr.dll", u"rsCeApiMgr", {}, true)));
  ASSERT_EQ(desktop.Recv(8), Cat({LE32(4), LE32(0)}));
  Converse(desktop);
}

TEST_F(RapiTest, CountedInvokeOverTcpWithThePassword) {
  RawConnection desktop(tcp_);
  PassPassword(desktop);
  ASSERT_TRUE(desktop.Send(
      testing_support::RapiInvoke4c(u"VORNAPIMGR", u"rsCeApiMgr", {}, true)));
  ASSERT_EQ(desktop.Recv(8), Cat({LE32(4), LE32(0)}));
  Converse(desktop);
}

TEST_F(RapiTest, WrongOrMissingPasswordIsRefused) {
  RawConnection wrong(tcp_);
  ASSERT_TRUE(wrong.Send(testing_support::RapiPasswordStep(u"Sesam", kKey)));
  EXPECT_EQ(wrong.Recv(1), Bytes{0});
  EXPECT_TRUE(wrong.ClosedByServer());
  // Without the step the request's first bytes are taken for it.
  RawConnection missing(tcp_);
  ASSERT_TRUE(missing.Send(AgentInvoke45()));
  EXPECT_EQ(missing.Recv(1), Bytes{0});
  EXPECT_TRUE(missing.ClosedByServer());
  RawConnection right(tcp_);
  PassPassword(right);
  ASSERT_TRUE(right.Send(AgentInvoke45()));
  ASSERT_EQ(right.Recv(4), LE32(0));
  Converse(right);
  StopServer();
  EXPECT_NE(server_->err().find("wrong device password"), std::string::npos);
}

TEST_F(RapiTest, PasswordCommandTakesEffectForTheNextConnection) {
  auto cleared = RunProgram({"vorn-device", "password", image_, "clear"});
  ASSERT_EQ(cleared.exitCode, 0) << cleared.err;
  {
    RawConnection desktop(tcp_);
    ASSERT_TRUE(desktop.Send(AgentInvoke45()));
    ASSERT_EQ(desktop.Recv(4), LE32(0));
    Converse(desktop);
  }
  auto set = RunProgram({"vorn-device", "password", image_, "set", "neu"});
  ASSERT_EQ(set.exitCode, 0) << set.err;
  RawConnection old(tcp_);
  ASSERT_TRUE(old.Send(testing_support::RapiPasswordStep(u"sesam", kKey)));
  EXPECT_EQ(old.Recv(1), Bytes{0});
  RawConnection fresh(tcp_);
  ASSERT_TRUE(fresh.Send(testing_support::RapiPasswordStep(u"neu", kKey)));
  EXPECT_EQ(fresh.Recv(1), Bytes{1});
}

TEST_F(RapiTest, UnknownModuleOrFunctionIsRefusedAndServingGoesOn) {
  RawConnection noModule("unix:" + socket_);
  ASSERT_TRUE(noModule.Send(
      testing_support::RapiInvoke45(u"VORNAPI", u"rsCeApiMgr", {}, true)));
  EXPECT_EQ(noModule.Recv(4), LE32(126));
  EXPECT_TRUE(noModule.ClosedByServer());
  RawConnection noFunction(tcp_);
  PassPassword(noFunction);
  ASSERT_TRUE(noFunction.Send(
      testing_support::RapiInvoke4c(u"VORNAPIMGR", u"CeApiMgr", {}, true)));
  EXPECT_EQ(noFunction.Recv(8), Cat({LE32(4), LE32(127)}));
  EXPECT_TRUE(noFunction.ClosedByServer());
  RawConnection after("unix:" + socket_);
  ASSERT_TRUE(after.Send(AgentInvoke45()));
  ASSERT_EQ(after.Recv(4), LE32(0));
  Converse(after);
}

TEST_F(RapiTest, BufferModeCallsTheAgentWhichWritesNoOutput) {
  RawConnection desktop("unix:" + socket_);
  ASSERT_TRUE(desktop.Send(testing_support::RapiInvoke45(
      u"VORNAPIMGR", u"rsCeApiMgr", {1, 2, 3}, false)));
  EXPECT_EQ(desktop.Recv(24),
            Cat({LE32(16), LE32(0), LE32(0), LE32(0), LE32(0), LE32(0)}));
  ASSERT_TRUE(desktop.Send(
      testing_support::RapiInvoke4c(u"VORNAPIMGR", u"rsCeApiMgr", {}, false)));
  EXPECT_EQ(desktop.Recv(16), Cat({LE32(12), LE32(0), LE32(0), LE32(0)}));
  // The same connection then invokes in stream mode.
  ASSERT_TRUE(desktop.Send(AgentInvoke45()));
  ASSERT_EQ(desktop.Recv(4), LE32(0));
  Converse(desktop);
}

TEST_F(RapiTest, SeveralInvokesInARowAndADesktopThatLeavesMidConversation) {
  for (int round = 0; round < 3; ++round) {
    RawConnection desktop(round == 1 ? "unix:" + socket_ : tcp_);
    if (round != 1) PassPassword(desktop);
    ASSERT_TRUE(desktop.Send(AgentInvoke45()));
    ASSERT_EQ(desktop.Recv(4), LE32(0));
    Converse(desktop);
  }
  {
    RawConnection leaving(tcp_);
    PassPassword(leaving);
    ASSERT_TRUE(leaving.Send(AgentInvoke45()));
    ASSERT_EQ(leaving.Recv(4), LE32(0));
    ASSERT_TRUE(leaving.Send(Cat({LE32(2), {14}})));  // half a packet
  }
  RawConnection next(tcp_);
  PassPassword(next);
  ASSERT_TRUE(next.Send(AgentInvoke45()));
  ASSERT_EQ(next.Recv(4), LE32(0));
  Converse(next);
  EXPECT_EQ(StopServer(), 0) << server_->err();
}

TEST_F(RapiTest, AnIdleConnectionDoesNotBlockAnInvokeOnAnother) {
  RawConnection idle(tcp_);
  PassPassword(idle);
  RawConnection desktop(tcp_);
  PassPassword(desktop);
  ASSERT_TRUE(desktop.Send(AgentInvoke45()));
  ASSERT_EQ(desktop.Recv(4), LE32(0));
  Converse(desktop);
  // The idle one can still invoke afterwards.
  ASSERT_TRUE(idle.Send(AgentInvoke45()));
  ASSERT_EQ(idle.Recv(4), LE32(0));
  Converse(idle);
}

TEST_F(RapiTest, OtherCommandsCloseTheConnectionAndSaySo) {
  RawConnection desktop(tcp_);
  PassPassword(desktop);
  ASSERT_TRUE(desktop.Send(Cat({LE32(4), LE32(0x6B)})));
  EXPECT_TRUE(desktop.ClosedByServer());
  RawConnection next("unix:" + socket_);
  ASSERT_TRUE(next.Send(AgentInvoke45()));
  ASSERT_EQ(next.Recv(4), LE32(0));
  Converse(next);
  EXPECT_EQ(StopServer(), 0);
  EXPECT_NE(server_->err().find("remote API command 0x0000006B is not served; "
                                "connection closed"),
            std::string::npos)
      << server_->err();
}

TEST_F(RapiTest, VornReachesTheAgentThroughTheRemoteApi) {
  auto tcp = RunProgram({"vorn", "--device", "rapi://" + tcp_, "--password",
                         "sesam", "--password-key", "90", "info"});
  EXPECT_EQ(tcp.exitCode, 0) << tcp.err;
  EXPECT_NE(tcp.outText().find("PDA-9"), std::string::npos) << tcp.outText();
  auto local =
      RunProgram({"vorn", "--device", "rapi+unix://" + socket_, "info"});
  EXPECT_EQ(local.exitCode, 0) << local.err;
  EXPECT_NE(local.outText().find("PDA-9"), std::string::npos);
  auto wrong = RunProgram({"vorn", "--device", "rapi://" + tcp_, "--password",
                           "nope", "--password-key", "90", "info"});
  EXPECT_NE(wrong.exitCode, 0);
  EXPECT_EQ(wrong.err, "vorn: the handheld refused the device password\n");
  auto badKey = RunProgram({"vorn", "--device", "rapi://" + tcp_, "--password",
                            "sesam", "--password-key", "300", "info"});
  EXPECT_EQ(badKey.exitCode, 2);
  EXPECT_EQ(badKey.err,
            "vorn: --password-key needs 0 to 255 (try vorn info --help)\n");
  auto misplaced =
      RunProgram({"vorn", "--device", tcp_, "--password", "sesam", "info"});
  EXPECT_EQ(misplaced.exitCode, 2);
  EXPECT_EQ(misplaced.err.find('\n'), misplaced.err.size() - 1);
}

TEST(RapiArgumentsTest, BadArgumentsAreOneLineErrorsAndChangeNothing) {
  testing_support::TempDir dir;
  std::string image = dir.path("d.img");
  auto noPassword =
      RunProgram({"vorn-device", "init", image, "--password", ""});
  EXPECT_EQ(noPassword.exitCode, 2);
  EXPECT_EQ(access(image.c_str(), F_OK), -1);
  ASSERT_EQ(RunProgram({"vorn-device", "init", image}).exitCode, 0);
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {"serve", image, "--rapi", "127.0.0.1:0", "--password-key", "256"},
           {"serve", image, "--rapi", "127.0.0.1:0", "--stdio"},
           {"serve", image, "--rapi-unix"},
           {"serve", image, "--rapi-unix", dir.path("s"), "--password-key",
            "1"},
           {"password", image, "set"},
           {"password", image, "set", ""},
           {"password", image, "reset"}}) {
    std::vector<std::string> argv = {"vorn-device"};
    argv.insert(argv.end(), args.begin(), args.end());
    auto result = RunProgram(argv);
    EXPECT_EQ(result.exitCode, 2) << args[0] << " " << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }
  auto remote =
      RunProgram({"vorn-device", "serve", image, "--rapi", "192.0.2.1:0"});
  EXPECT_EQ(remote.exitCode, 1);
  EXPECT_NE(remote.err.find("not a loopback address"), std::string::npos);
  // The refused password commands left no password behind.
  auto dump = RunProgram({"vorn-device", "dump", image});
  EXPECT_EQ(dump.outText().find("device_password"), std::string::npos);
  ASSERT_EQ(
      RunProgram({"vorn-device", "password", image, "set", "pw"}).exitCode, 0);
  dump = RunProgram({"vorn-device", "dump", image});
  EXPECT_NE(dump.outText().find("device_password"), std::string::npos);
}

}  // namespace
