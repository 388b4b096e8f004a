// Ink notes through the programs: the numbering counter of untitled notes
// lives as long as the loaded agent (one `vorn-device serve --listen`, any
// number of conversations) and starts again at 1 in a new process.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "desktop/transport/tcp_stream.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FramePacket;
using testing_support::LE32;
using testing_support::ListeningServer;
using testing_support::PacketBuilder;
using testing_support::RunProgram;
using testing_support::SplitFrames;
using testing_support::TempDir;

constexpr std::uint8_t kNotes = 5;

Bytes AddUntitled(std::u16string_view text) {
  return PacketBuilder(2, kNotes).U32(0).U32(1).U32(2).Str(text).packet();
}
Bytes GetNote(std::uint32_t oid) {
  return PacketBuilder(7, kNotes).U32(oid).packet();
}
Bytes NoteReply(std::uint32_t oid, std::u16string_view title,
                std::u16string_view text) {
  return Cat({Bytes{1, 0}, LE32(oid), Bytes{2}, LE32(1), Counted(title),
              LE32(2), Counted(text)});
}
// The write status of an add answered as a conversation's first packet.
Bytes Added(std::uint32_t oid) {
  return Cat({Bytes{1, 0}, LE32(oid), LE32(0), Bytes(10, 0)});
}
std::uint32_t StatusOid(const Bytes& reply) {
  return reply.size() >= 6 ? protocol::GetU32(reply.data() + 2) : 0;
}

// One conversation over TCP: the packets, then the end of the session.
std::vector<Bytes> ConverseTcp(const std::string& address,
                               const std::vector<Bytes>& packets) {
  std::vector<Bytes> replies;
  auto stream = desktop::TcpStream::Connect(address);
  EXPECT_TRUE(stream.ok());
  if (!stream.ok()) return replies;
  for (const Bytes& packet : packets) {
    EXPECT_TRUE((*stream)->WriteFrame(packet).ok());
    auto reply = (*stream)->ReadFrame();
    EXPECT_TRUE(reply.ok());
    if (!reply.ok()) return replies;
    replies.push_back(*reply);
  }
  Bytes end = {1, kNotes};
  EXPECT_TRUE((*stream)->WriteFrame(end).ok());
  auto ended = (*stream)->ReadFrame();
  EXPECT_TRUE(ended.ok() && ended->empty());
  (void)(*stream)->Close();
  return replies;
}

// One conversation of `vorn-device serve --stdio` (a new process).
std::vector<Bytes> ConverseStdio(const std::string& image,
                                 const std::vector<Bytes>& packets) {
  Bytes input;
  for (const Bytes& packet : packets) input = Cat({input, FramePacket(packet)});
  input = Cat({input, FramePacket({1, kNotes})});
  auto result = RunProgram({"vorn-device", "serve", image, "--stdio"}, input);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  auto frames = SplitFrames(result.out);
  EXPECT_EQ(frames.size(), packets.size() + 1);
  if (!frames.empty()) frames.pop_back();
  return frames;
}

// The names of the files in "\My Documents" as `vorn-device fs ls` lists
// them (the last field of each line).
std::vector<std::string> NoteFileNames(const std::string& image) {
  auto result =
      RunProgram({"vorn-device", "fs", image, "ls", "\\My Documents"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  std::vector<std::string> names;
  std::stringstream lines(result.outText());
  std::string line;
  while (std::getline(lines, line)) {
    std::size_t space = line.rfind(' ');
    if (!line.empty()) names.push_back(line.substr(space + 1));
  }
  return names;
}

std::string NewImage(TempDir& dir) {
  std::string image = dir.path("d.img");
  EXPECT_EQ(RunProgram({"vorn-device", "init", image}).exitCode, 0);
  return image;
}

TEST(NotesTest, TwoUntitledNotesOfANewProcessAreNote1AndNote2) {
  TempDir dir;
  std::string image = NewImage(dir);
  auto replies =
      ConverseStdio(image, {AddUntitled(u"first"), AddUntitled(u"second")});
  ASSERT_EQ(replies.size(), 2U);
  std::uint32_t first = StatusOid(replies[0]);
  std::uint32_t second = StatusOid(replies[1]);
  EXPECT_EQ(replies[0], Added(first));
  // The second reply's last ten bytes are the first reply's.
  EXPECT_EQ(replies[1],
            Cat({Bytes{1, 0}, LE32(second), LE32(0),
                 Bytes(replies[0].begin() + 10, replies[0].end())}));
  replies = ConverseStdio(image, {GetNote(first), GetNote(second)});
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0], NoteReply(first, u"Note1", u"first"));
  EXPECT_EQ(replies[1], NoteReply(second, u"Note2", u"second"));
  EXPECT_EQ(NoteFileNames(image),
            (std::vector<std::string>{"Note1.pwi", "Note2.pwi"}));
}

TEST(NotesTest, CounterSurvivesConversationsOfOneServerAndNotANewProcess) {
  TempDir dir;
  std::string image = NewImage(dir);
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  {
    ListeningServer server(image);
    ASSERT_FALSE(server.address().empty()) << server.err();
    auto replies = ConverseTcp(server.address(), {AddUntitled(u"first")});
    ASSERT_EQ(replies.size(), 1U);
    first = StatusOid(replies[0]);
    EXPECT_EQ(replies[0], Added(first));
    replies = ConverseTcp(server.address(), {AddUntitled(u"second")});
    ASSERT_EQ(replies.size(), 1U);
    second = StatusOid(replies[0]);
    EXPECT_EQ(replies[0], Added(second));
    replies = ConverseTcp(server.address(), {GetNote(first), GetNote(second)});
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_EQ(replies[0], NoteReply(first, u"Note1", u"first"));
    EXPECT_EQ(replies[1], NoteReply(second, u"Note2", u"second"));
    EXPECT_EQ(server.Stop(), 0) << server.err();
  }
  // A new process counts from 1 again: Note1 is taken, so the note gets
  // the counter's next value after "Note_".
  auto replies = ConverseStdio(image, {AddUntitled(u"third")});
  ASSERT_EQ(replies.size(), 1U);
  std::uint32_t third = StatusOid(replies[0]);
  EXPECT_EQ(replies[0], Added(third));
  replies = ConverseStdio(image, {GetNote(third)});
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0], NoteReply(third, u"Note_2", u"third"));
  EXPECT_EQ(NoteFileNames(image),
            (std::vector<std::string>{"Note1.pwi", "Note2.pwi", "Note_2.pwi"}));
}

}  // namespace
