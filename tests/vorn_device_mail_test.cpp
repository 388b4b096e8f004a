// vorn-device mail and a whole mail conversation through
// `vorn-device serve --stdio`, replies compared byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FramePacket;
using testing_support::LE16;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RunProgram;
using testing_support::TempDir;

class VornDeviceMailTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = dir_.path("m.img");
    ASSERT_EQ(RunProgram({"vorn-device", "init", image_}).exitCode, 0);
  }
  std::string Mail(const std::vector<std::string>& rest, int exitCode = 0) {
    std::vector<std::string> args = {"vorn-device", "mail", image_};
    args.insert(args.end(), rest.begin(), rest.end());
    auto result = RunProgram(args);
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    if (exitCode != 0) {
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
          << result.err;
    }
    return result.outText();
  }
  std::vector<Bytes> Serve(const std::vector<Bytes>& packets) {
    Bytes input;
    for (const Bytes& packet : packets)
      input = Cat({input, FramePacket(packet)});
    input = Cat({input, FramePacket({1, 4})});
    auto result =
        RunProgram({"vorn-device", "serve", image_, "--stdio"}, input);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    auto frames = testing_support::SplitFrames(result.out);
    EXPECT_EQ(frames.size(), packets.size() + 1);
    if (!frames.empty()) frames.pop_back();
    return frames;
  }

  TempDir dir_;
  std::string image_;
};

TEST_F(VornDeviceMailTest,
       AMessageAddedOnTheHandheldIsReadAndAnsweredByTheDesktop) {
  std::uint32_t key = static_cast<std::uint32_t>(
      std::stoul(Mail({"add", "--folder", "inbox", "--from", "a@x", "--to",
                       "b@y; c@z", "--subject", "Hi", "--body", "Text",
                       "--read", "--time", "2026-01-02T04:04:05+01:00"})));
  auto replies = Serve({{6, 4},
                        {13, 4},
                        PacketBuilder(7, 4).U32(key).packet(),
                        PacketBuilder(2, 4)
                            .U32(9)
                            .U32(2)
                            .U32(0)
                            .U32(252)
                            .U32(5)
                            .Str(u"Re: Hi")
                            .U32(2)
                            .Str(u"a@x")
                            .packet()});
  ASSERT_EQ(replies.size(), 4U);
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(1)}));
  EXPECT_EQ(replies[1], Cat({Bytes{1, 0}, LE32(1), Bytes{0}, LE32(key)}));
  EXPECT_EQ(
      replies[2],
      Cat({Bytes{1, 0}, LE32(key),        Bytes{7}, LE32(6),
           LE16(2026),  LE16(1),          LE16(5),  LE16(2),
           LE16(3),     LE16(4),          LE16(5),  LE16(0),
           LE32(5),     Counted(u"Hi"),   LE32(11), LE32(0x1000FE),
           LE32(1),     Counted(u"a@x"),  LE32(14), LE32(0),
           LE32(7),     Counted(u"Text"), LE32(2),  Counted(u"b@y;c@z")}));
  ASSERT_EQ(replies[3].size(), 20U);
  std::uint32_t answer = protocol::GetU32(replies[3].data() + 2);
  EXPECT_EQ(Bytes(replies[3].begin(), replies[3].begin() + 10),
            Cat({Bytes{1, 0}, LE32(answer), LE32(9)}));
  std::string listed = Mail({"ls"});
  EXPECT_NE(
      listed.find(std::to_string(answer) + "\tsent\tunread\t\tRe: Hi\t1\t0\n"),
      std::string::npos)
      << listed;
  EXPECT_EQ(Mail({"rm", std::to_string(answer)}), "");
  EXPECT_EQ(Mail({"ls"}).find(std::to_string(answer)), std::string::npos);
}

TEST_F(VornDeviceMailTest, BadInputIsOneLineAndChangesNothing) {
  Mail({"add", "--folder", "attic"}, 2);
  Mail({"add", "--folder", "inbox", "--time", "yesterday"}, 2);
  Mail({"add", "--folder", "inbox", "--attach", dir_.path("missing")}, 1);
  Mail({"rm", "7"}, 1);
  Mail({"rm", "seven"}, 2);
  EXPECT_EQ(Mail({"ls"}), "");
}

// On an image whose system version selects the message store, the same
// command keeps the user's mail there, and the desktop mirrors it: the
// handler's filter passes the inbox, outbox and sent messages only.
TEST(VornDeviceStoreMailTest, TheMessageStoreKeepsTheUsersMail) {
  TempDir dir;
  std::string image = dir.path("s.img");
  ASSERT_EQ(
      RunProgram({"vorn-device", "init", image, "--os", "3.0.9348"}).exitCode,
      0);
  testing_support::WriteFileBytes(dir.path("a.txt"),
                                  Bytes{'h', 'e', 'l', 'l', 'o'});
  auto mail = [&](std::vector<std::string> rest) {
    std::vector<std::string> args = {"vorn-device", "mail", image};
    args.insert(args.end(), rest.begin(), rest.end());
    auto result = RunProgram(args);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.outText();
  };
  std::string inbox =
      mail({"add", "--folder", "inbox", "--from", "ann@example.org", "--to",
            "bob@example.org; cy@example.org", "--subject", "Old store",
            "--body", "Hi Bob", "--attach", dir.path("a.txt"), "--time",
            "2026-11-20T10:00:00Z"});
  std::string draft =
      mail({"add", "--folder", "drafts", "--subject", "Draft", "--read"});
  inbox.pop_back();
  draft.pop_back();
  EXPECT_EQ(mail({"ls"}), inbox +
                              "\tinbox\tunread\tann@example.org\tOld "
                              "store\t2\t1\n" +
                              draft + "\tdrafts\tread\t\tDraft\t0\t0\n");

  auto info = RunProgram({"vorn", "--image", image, "info"});
  EXPECT_NE(info.outText().find("message store"), std::string::npos)
      << info.outText();
  const std::string mirror = dir.path("mirror");
  auto synced = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(synced.exitCode, 0) << synced.err;
  std::vector<std::string> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(mirror + "/mail/cur")) {
    files.push_back(entry.path().string());
  }
  ASSERT_EQ(files.size(), 1U);
  Bytes bytes = testing_support::ReadFileBytes(files[0]);
  std::string text(bytes.begin(), bytes.end());
  EXPECT_NE(text.find("Subject: Old store"), std::string::npos) << text;
  EXPECT_NE(text.find("To: bob@example.org, cy@example.org"), std::string::npos)
      << text;
  EXPECT_NE(text.find("aGVsbG8="), std::string::npos) << text;  // "hello"

  EXPECT_EQ(mail({"rm", inbox}), "");
  EXPECT_EQ(mail({"ls"}), draft + "\tdrafts\tread\t\tDraft\t0\t0\n");
}

}  // namespace
