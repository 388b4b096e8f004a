// Whole conversations through `vorn-device serve`, over a pipe and over a
// loopback socket, and the command line's contract.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "desktop/transport/tcp_stream.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"
#include "tests/support/version_line.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::FramePacket;
using testing_support::LE32;
using testing_support::ListeningServer;
using testing_support::PacketBuilder;
using testing_support::RecordBuilder;
using testing_support::RunProgram;
using testing_support::SplitFrames;
using testing_support::TempDir;

std::string NewImage(const TempDir& dir, const std::string& name = "d.img",
                     const std::vector<std::string>& options = {}) {
  std::string image = dir.path(name);
  std::vector<std::string> args = {"vorn-device", "init", image};
  args.insert(args.end(), options.begin(), options.end());
  auto result = RunProgram(args);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return image;
}

Bytes Serve(const std::string& image, const Bytes& input, int* exitCode,
            std::string* err = nullptr) {
  auto result = RunProgram({"vorn-device", "serve", image, "--stdio"}, input);
  *exitCode = result.exitCode;
  if (err != nullptr) *err = result.err;
  return result.out;
}

TEST(ServeStdioTest, EndOfSessionAlone) {
  TempDir dir;
  std::string image = NewImage(dir);
  int code = -1;
  EXPECT_EQ(Serve(image, FramePacket({1, 1}), &code), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(code, 0);
}

TEST(ServeStdioTest, StartUpFailuresReturnEFailWithTheirMessage) {
  struct Case {
    std::vector<std::string> faults;
    std::string message;
  };
  for (const Case& c :
       {Case{{"logon-fails"}, "messagebox: ERROR: Logon failed"},
        Case{{"cocreate-fails-always"},
             "messagebox: ERROR: CoCreateInstance failed"},
        Case{{"cocreate-fails", "pimstore-missing"},
             "messagebox: ERROR: RegisterPOOM failed"},
        Case{{"cocreate-fails", "register-fails"},
             "messagebox: ERROR: RegisterPOOM failed"}}) {
    TempDir dir;
    std::string image = NewImage(dir);
    for (const auto& fault : c.faults) {
      ASSERT_EQ(
          RunProgram({"vorn-device", "fault", image, "set", fault}).exitCode,
          0);
    }
    int code = -1;
    std::string err;
    Bytes out = Serve(image, FramePacket({1, 1}), &code, &err);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(code, 1);
    EXPECT_EQ(err, c.message + "\nrsCeApiMgr returned 0x80004005\n");
  }
}

TEST(ServeStdioTest, RecoveredCreationServesNormally) {
  TempDir dir;
  std::string image = NewImage(dir);
  ASSERT_EQ(RunProgram({"vorn-device", "fault", image, "set", "cocreate-fails"})
                .exitCode,
            0);
  int code = -1;
  std::string err;
  EXPECT_EQ(Serve(image, FramePacket({1, 1}), &code, &err),
            (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(code, 0);
  EXPECT_EQ(err, "");
}

TEST(ServeStdioTest, ContactsPersistBetweenConversations) {
  TempDir dir;
  std::string image = NewImage(dir);
  Bytes add =
      PacketBuilder(2, 1)
          .U32(5)
          .Raw(RecordBuilder().Str(31, u"Ada").Str(33, u"Byron").Build())
          .Frame();
  int code = -1;
  auto frames =
      SplitFrames(Serve(image, Cat({add, FramePacket({1, 1})}), &code));
  ASSERT_EQ(frames.size(), 2U);
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(frames[0][0], 1);
  frames = SplitFrames(
      Serve(image, Cat({FramePacket({6, 1}), FramePacket({1, 1})}), &code));
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], (Bytes{1, 0, 1, 0, 0, 0}));
}

TEST(ServeStdioTest, AnsweredPacketsAreDurableAndAnUnfinishedOneLeavesNoTrace) {
  TempDir dir;
  std::string image = NewImage(dir);
  Bytes add = PacketBuilder(2, 1)
                  .U32(5)
                  .Raw(RecordBuilder().Str(31, u"Kept").Build())
                  .Frame();
  Bytes cut = PacketBuilder(2, 1)
                  .U32(6)
                  .Raw(RecordBuilder().Str(31, u"Lost").Build())
                  .Frame();
  cut.resize(cut.size() - 3);
  int code = -1;
  // The stream ends inside the second packet: no end of session.
  auto frames = SplitFrames(Serve(image, Cat({add, cut}), &code));
  EXPECT_EQ(code, 0);
  ASSERT_EQ(frames.size(), 1U);
  frames = SplitFrames(
      Serve(image, Cat({FramePacket({6, 1}), FramePacket({1, 1})}), &code));
  EXPECT_EQ(frames[0], (Bytes{1, 0, 1, 0, 0, 0}));
}

TEST(ServeListenTest, ConversationsOneAfterAnotherOnLoopback) {
  TempDir dir;
  std::string image = NewImage(dir);
  ListeningServer server(image);
  ASSERT_FALSE(server.address().empty()) << server.err();
  for (int round = 1; round <= 3; ++round) {
    auto stream = desktop::TcpStream::Connect(server.address());
    ASSERT_TRUE(stream.ok());
    Bytes add = PacketBuilder(2, 1)
                    .U32(static_cast<std::uint32_t>(round))
                    .Raw(RecordBuilder().Str(33, u"Round").Build())
                    .packet();
    ASSERT_TRUE((*stream)->WriteFrame(add).ok());
    auto added = (*stream)->ReadFrame();
    ASSERT_TRUE(added.ok());
    EXPECT_EQ(added->size(), 20U);
    Bytes count = {6, 1};
    ASSERT_TRUE((*stream)->WriteFrame(count).ok());
    auto counted = (*stream)->ReadFrame();
    ASSERT_TRUE(counted.ok());
    EXPECT_EQ(*counted,
              Cat({Bytes{1, 0}, LE32(static_cast<std::uint32_t>(round))}));
    Bytes end = {1, 1};
    ASSERT_TRUE((*stream)->WriteFrame(end).ok());
    auto ended = (*stream)->ReadFrame();
    ASSERT_TRUE(ended.ok());
    EXPECT_TRUE(ended->empty());
    (void)(*stream)->Close();
  }
  EXPECT_EQ(server.Stop(), 0) << server.err();
}

TEST(ServeListenTest, StartUpFailureClosesTheConnectionWithNothing) {
  TempDir dir;
  std::string image = NewImage(dir);
  ASSERT_EQ(RunProgram({"vorn-device", "fault", image, "set", "logon-fails"})
                .exitCode,
            0);
  ListeningServer server(image);
  ASSERT_FALSE(server.address().empty()) << server.err();
  auto stream = desktop::TcpStream::Connect(server.address());
  ASSERT_TRUE(stream.ok());
  Bytes end = {1, 1};
  (void)(*stream)->WriteFrame(end);
  auto reply = (*stream)->ReadFrame();
  EXPECT_FALSE(reply.ok());
  (void)(*stream)->Close();
  server.Stop();
  EXPECT_NE(server.err().find("messagebox: ERROR: Logon failed"),
            std::string::npos)
      << server.err();
}

TEST(ServeListenTest, RemoteAddressesNeedAllowRemote) {
  TempDir dir;
  std::string image = NewImage(dir);
  auto result =
      RunProgram({"vorn-device", "serve", image, "--listen", "0.0.0.0:0"});
  EXPECT_NE(result.exitCode, 0);
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
      << result.err;
}

TEST(CommandLineTest, BadArgumentsLeaveTheImageAsItWas) {
  TempDir dir;
  std::string image = NewImage(dir);
  Bytes before = testing_support::ReadFileBytes(image);
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {"vorn-device"},
           {"vorn-device", "frobnicate", image},
           {"vorn-device", "serve", image},
           {"vorn-device", "serve", image, "--stdio", "--listen", "1:2"},
           {"vorn-device", "reg", image, "set", "HKLM\\X", "v"},
           {"vorn-device", "reg", image, "set", "HKLM\\X", "v", "--dword",
            "zz"},
           {"vorn-device", "reg", image, "get", "BOGUS\\X", "v"},
           {"vorn-device", "fault", image, "set", "no-such-fault"},
           {"vorn-device", "fault", image, "set", "contact-save"},
           {"vorn-device", "init", image},
           {"vorn-device", "init", dir.path("x.img"), "--os", "three"},
           {"vorn-device", "init", dir.path("y.img"), "--tz", "Mars/Olympus"},
           {"vorn-device", "fs", image, "get", "\\missing", dir.path("out")},
           // A path with a line break is still named on one line.
           {"vorn-device", "fs", image, "get", "line\nbreak", dir.path("out")},
           {"vorn-device", "fs", image, "rm", "\\a\rb\x7F"},
       }) {
    auto result = RunProgram(args);
    EXPECT_NE(result.exitCode, 0) << args.size();
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
        << result.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path("x.img")));
  EXPECT_FALSE(std::filesystem::exists(dir.path("y.img")));
  EXPECT_EQ(testing_support::ReadFileBytes(image), before);
}

TEST(CommandLineTest, FilesThatAreNoImageAreRefusedUntouched) {
  TempDir dir;
  std::string random = dir.path("random.bin");
  Bytes noise(5000);
  for (std::size_t i = 0; i < noise.size(); ++i)
    noise[i] = static_cast<std::uint8_t>(i * 7919);
  testing_support::WriteFileBytes(random, noise);
  std::string image = NewImage(dir);
  // Add something so the image has more than its first page.
  for (int i = 0; i < 20; ++i) {
    RunProgram({"vorn-device", "reg", image, "set", "HKLM\\Fill",
                "v" + std::to_string(i), "--sz", std::string(3000, 'x')});
  }
  Bytes whole = testing_support::ReadFileBytes(image);
  std::string truncated = dir.path("truncated.img");
  testing_support::WriteFileBytes(
      truncated, Bytes(whole.begin(),
                       whole.begin() + static_cast<long>(whole.size() / 2)));
  for (const std::string& bad : {random, truncated}) {
    Bytes before = testing_support::ReadFileBytes(bad);
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{
             {"vorn-device", "dump", bad},
             {"vorn-device", "serve", bad, "--stdio"},
             {"vorn-device", "reg", bad, "get", "HKLM\\SOFTWARE\\Orvanet",
              "MachineID"}}) {
      auto result = RunProgram(args, FramePacket({1, 1}));
      EXPECT_NE(result.exitCode, 0) << bad;
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
          << result.err;
    }
    EXPECT_EQ(testing_support::ReadFileBytes(bad), before);
    EXPECT_FALSE(std::filesystem::exists(bad + "-wal"));
  }
}

TEST(CommandLineTest, RegistryFaultsAndDumpRoundTrip) {
  TempDir dir;
  std::string image =
      NewImage(dir, "d.img", {"--machine-id", "PDA-42", "--os", "4.20.1081"});
  auto id = RunProgram({"vorn-device", "reg", image, "get",
                        "HKLM\\SOFTWARE\\Orvanet", "MachineID"});
  EXPECT_EQ(id.exitCode, 0);
  EXPECT_EQ(id.outText(), "PDA-42\n");
  EXPECT_EQ(
      RunProgram({"vorn-device", "reg", image, "set", "HKLM\\SOFTWARE\\Orvanet",
                  "\\VornContactLog", "--dword", "7"})
          .exitCode,
      0);
  auto seq = RunProgram({"vorn-device", "reg", image, "get",
                         "HKLM\\SOFTWARE\\Orvanet", "\\VornContactLog"});
  EXPECT_EQ(seq.outText(), "7\n");
  EXPECT_EQ(RunProgram({"vorn-device", "reg", image, "delete",
                        "HKLM\\SOFTWARE\\Orvanet", "\\VornContactLog"})
                .exitCode,
            0);
  EXPECT_NE(RunProgram({"vorn-device", "reg", image, "get",
                        "HKLM\\SOFTWARE\\Orvanet", "\\VornContactLog"})
                .exitCode,
            0);
  EXPECT_EQ(RunProgram({"vorn-device", "fault", image, "set", "contact-save",
                        "0x80004005"})
                .exitCode,
            0);
  auto listed = RunProgram({"vorn-device", "fault", image, "list"});
  EXPECT_NE(listed.outText().find("contact-save"), std::string::npos);
  auto dump = RunProgram({"vorn-device", "dump", image});
  EXPECT_EQ(dump.exitCode, 0);
  EXPECT_EQ(dump.outText().front(), '{');
  EXPECT_NE(dump.outText().find("PDA-42"), std::string::npos);
  // The machine identity goes over the wire too, and the version answer
  // follows --os.
  int code = -1;
  auto frames = SplitFrames(Serve(
      image,
      Cat({FramePacket({14, 1}), FramePacket({20, 1}), FramePacket({1, 1})}),
      &code));
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[0], Cat({LE32(0x3C), testing_support::Counted(u"PDA-42")}));
  EXPECT_EQ(frames[1], LE32(1));
}

TEST(CommandLineTest, DeviceFilesGoInAndOut) {
  TempDir dir;
  std::string image = NewImage(dir);
  Bytes data(70000);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<std::uint8_t>(i * 31 + 7);
  }
  std::string source = dir.path("in.bin");
  testing_support::WriteFileBytes(source, data);
  const std::string path = "\\My Documents\\in.bin";
  ASSERT_EQ(
      RunProgram({"vorn-device", "fs", image, "put", path, source}).exitCode,
      0);
  auto ls = RunProgram({"vorn-device", "fs", image, "ls", "\\My Documents"});
  EXPECT_NE(ls.outText().find("70000"), std::string::npos) << ls.outText();
  EXPECT_NE(ls.outText().find("in.bin"), std::string::npos);
  std::string back = dir.path("out.bin");
  ASSERT_EQ(RunProgram({"vorn-device", "fs", image, "get",
                        "\\MY DOCUMENTS\\IN.BIN", back})
                .exitCode,
            0);
  EXPECT_EQ(testing_support::ReadFileBytes(back), data);
  // A read-only file cannot be removed until it is writable again.
  ASSERT_EQ(
      RunProgram({"vorn-device", "fs", image, "attrib", path, "+r"}).exitCode,
      0);
  auto refused = RunProgram({"vorn-device", "fs", image, "rm", path});
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1);
  ASSERT_EQ(
      RunProgram({"vorn-device", "fs", image, "attrib", path, "-r"}).exitCode,
      0);
  EXPECT_EQ(RunProgram({"vorn-device", "fs", image, "rm", path}).exitCode, 0);
  auto after = RunProgram({"vorn-device", "fs", image, "ls", "\\My Documents"});
  EXPECT_EQ(after.outText().find("in.bin"), std::string::npos);
}

TEST(CommandLineTest, EveryCommandAndSubcommandHasHelp) {
  TempDir dir;
  const std::string absent = dir.path("absent.img");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{
           {},
           {"init"},
           {"serve"},
           {"reg"},
           {"reg", "get"},
           {"reg", "set"},
           {"reg", "delete"},
           {"fs"},
           {"fs", "put"},
           {"fs", "get"},
           {"fs", "ls"},
           {"fs", "rm"},
           {"fs", "attrib"},
           {"fault"},
           {"fault", "set"},
           {"fault", "clear"},
           {"fault", "list"},
           {"dump"},
           {"changelog"},
           {"changelog", "add"},
           {"changelog", "ls"},
           {"pim"},
           {"pim", "add"},
           {"pim", "set"},
           {"pim", "delete"},
           {"pim", "ls"},
       }) {
    // A subcommand follows the image: `vorn-device reg IMAGE get --help`.
    std::vector<std::string> args = {"vorn-device"};
    args.insert(args.end(), command.begin(), command.end());
    if (args.size() == 3) args.insert(args.begin() + 2, absent);
    args.push_back("--help");
    auto help = RunProgram(args);
    std::string usage = "Usage: vorn-device";
    for (const std::string& word : command) usage += " " + word;
    EXPECT_EQ(help.exitCode, 0) << usage;
    EXPECT_EQ(help.err, "");
    EXPECT_NE(help.outText().find(usage + " [OPTIONS]"), std::string::npos)
        << help.outText();
  }
  EXPECT_FALSE(std::filesystem::exists(absent));
  // The options of a subcommand are in its help; `help` lists the commands.
  auto set = RunProgram({"vorn-device", "reg", absent, "set", "-h"});
  EXPECT_EQ(set.exitCode, 0);
  EXPECT_NE(set.outText().find("--dword N"), std::string::npos);
  auto pim = RunProgram({"vorn-device", "pim", "-h"});
  EXPECT_NE(pim.outText().find("properties of contacts:"), std::string::npos);
  auto list = RunProgram({"vorn-device", "help"});
  EXPECT_EQ(list.exitCode, 0);
  EXPECT_NE(list.outText().find("changelog"), std::string::npos);
}

TEST(CommandLineTest, VersionIsTheProjectVersion) {
  auto version = RunProgram({"vorn-device", "--version"});
  EXPECT_EQ(version.exitCode, 0);
  testing_support::ExpectVersionLine(version.outText(), "vorn-device");
  EXPECT_EQ(version.err, "");
}

TEST(CommandLineTest, BadArgumentsAreOneLineWithStatusTwo) {
  TempDir dir;
  std::string image = NewImage(dir);
  ASSERT_EQ(RunProgram({"vorn-device", "pim", image, "add", "contacts",
                        R"({"FirstName":"Ann"})"})
                .exitCode,
            0);
  Bytes before = testing_support::ReadFileBytes(image);
  const std::string key = "HKLM\\SOFTWARE\\Orvanet";
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {},
           {"frobnicate", image},
           {"--nope"},
           {"init"},
           {"init", dir.path("n.img"), "--machine-id", ""},
           {"init", dir.path("n.img"), "--os"},
           {"init", dir.path("n.img"), "--tz", "Mars/Olympus"},
           {"serve", image},
           {"serve", image, "--stdio", "--listen", "127.0.0.1:0"},
           {"serve", image, "--stdio", "--allow-remote"},
           {"serve", image, "--listen", "no-port"},
           {"reg", image},
           {"reg", image, "get", key},
           {"reg", image, "get", key, "MachineID", "extra"},
           {"reg", image, "frob", key, "v"},
           {"reg", image, "set", key, "v"},
           {"reg", image, "set", key, "v", "--dword", "zz"},
           {"reg", image, "set", key, "v", "--dword", "-1"},
           {"reg", image, "set", key, "v", "--dword", "4294967296"},
           {"reg", image, "set", key, "v", "--dword", "0x"},
           {"reg", image, "set", key, "v", "--dword", "1", "--sz", "x"},
           {"fs", image},
           {"fs", image, "copy", "\\a", "b"},
           {"fs", image, "rm"},
           {"fs", image, "attrib", "\\Windows"},
           {"fs", image, "attrib", "\\Windows", "+x"},
           {"fs", image, "attrib", "\\Windows", "+r", "-r"},
           {"fs", image, "put", "\\a", dir.path("missing"), "extra"},
           {"fault", image, "set"},
           {"fault", image, "set", "no-such-fault"},
           {"fault", image, "clear", "no-such-fault"},
           {"fault", image, "list", "extra"},
           {"dump"},
           {"dump", image, "extra"},
           {"changelog", image, "ls"},
           {"changelog", image, "ls", "gizmos"},
           {"changelog", image, "add", "contacts", "--oid", "1"},
           {"changelog", image, "add", "contacts", "--oid", "1", "--seq", "1x"},
           {"changelog", image, "add", "contacts", "--oid", "1", "--seq", "2",
            "--kind", "4294967296"},
           {"changelog", image, "add", "contacts", "--oid", "1", "--seq", "2",
            "--kind", "0x"},
           {"changelog", image, "add", "contacts", "--oid", "1", "--seq", "2",
            "--kind", "-1"},
           {"changelog", image, "ls", "contacts", "--jsn"},
           {"pim", image, "add", "gizmos", "{}"},
           {"pim", image, "add", "contacts"},
           {"pim", image, "add", "contacts", R"({"NoSuchProperty":"x"})"},
           {"pim", image, "set", "contacts", "0", "{}"},
           {"pim", image, "delete", "contacts", "twelve"},
           {"pim", image, "ls", "contacts", "--nope"},
       }) {
    std::vector<std::string> argv = {"vorn-device"};
    argv.insert(argv.end(), args.begin(), args.end());
    auto result = RunProgram(argv);
    std::string shown = args.empty() ? "(nothing)" : args[0];
    EXPECT_EQ(result.exitCode, 2) << shown << " " << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
        << result.err;
    EXPECT_TRUE(result.err.starts_with("vorn-device: ")) << result.err;
    EXPECT_NE(result.err.find("--help)"), std::string::npos) << result.err;
    EXPECT_EQ(result.outText(), "") << shown;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path("n.img")));
  EXPECT_EQ(testing_support::ReadFileBytes(image), before);
}

TEST(CommandLineTest, NumbersAreDecimalOrHex) {
  TempDir dir;
  std::string image = NewImage(dir);
  const std::string key = "HKLM\\SOFTWARE\\Numbers";
  for (const auto& [given, shown] :
       std::vector<std::pair<std::string, std::string>>{
           {"17", "17"},
           {"0x11", "17"},
           {"0X1f", "31"},
           {"010", "10"},
           {"4294967295", "4294967295"},
           {"0xFFFFFFFF", "4294967295"}}) {
    ASSERT_EQ(RunProgram({"vorn-device", "reg", image, "set", key, "n",
                          "--dword", given})
                  .exitCode,
              0)
        << given;
    auto got = RunProgram({"vorn-device", "reg", image, "get", key, "n"});
    EXPECT_EQ(got.outText(), shown + "\n") << given;
  }
  // The options of a subcommand may stand anywhere after it.
  ASSERT_EQ(RunProgram({"vorn-device", "changelog", image, "add", "--seq",
                        "0x20", "contacts", "--kind", "deleted", "--oid", "9"})
                .exitCode,
            0);
  auto log = RunProgram({"vorn-device", "changelog", image, "ls", "contacts"});
  EXPECT_EQ(log.outText(), "32\t9\tdeleted\n");
}

}  // namespace
