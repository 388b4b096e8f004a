// MailMirror against a scripted handheld and a temporary directory.
#include "desktop/sync/mail_mirror.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "desktop/formats/mail_file.h"
#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

namespace fs = std::filesystem;
using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

Bytes KeyList(const std::vector<std::uint32_t>& keys) {
  Bytes out = Cat({{1, 0}, LE32(static_cast<std::uint32_t>(keys.size())), {0}});
  for (std::uint32_t key : keys) out = Cat({out, LE32(key)});
  return out;
}

Bytes Inbox() {
  return Cat({{1, 0},
              LE32(11),
              {3},
              LE32(5),
              Counted(u"Lunch"),
              LE32(11),
              LE32(254 | 0x100000),
              LE32(8),
              Counted(u"\\VRN1.tmp\na.txt\n")});
}

Bytes Draft(std::u16string_view subject) {
  return Cat({{1, 0},
              LE32(12),
              {2},
              LE32(5),
              Counted(subject),
              LE32(11),
              LE32(0x400000)});
}

Bytes Records(const std::vector<Bytes>& records) {
  Bytes out =
      Cat({{1, 0}, LE32(static_cast<std::uint32_t>(records.size())), {0}});
  for (const Bytes& record : records) out = Cat({out, record});
  return out;
}

Bytes FileReply(const Bytes& data) {
  return Cat(
      {{1, 0}, LE32(0), LE32(static_cast<std::uint32_t>(data.size())), data});
}

std::vector<std::string> Files(const fs::path& dir) {
  std::vector<std::string> out;
  std::error_code error;
  for (const auto& file : fs::directory_iterator(dir, error)) {
    out.push_back(file.path().filename().string());
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::string Read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

class MailMirrorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ =
        fs::temp_directory_path() /
        ("vorn-mail-mirror-" +
         std::string(
             ::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // One run against a handheld that answers with `replies` in order.
  Result<MailMirrorSummary> RunWith(const std::vector<Bytes>& replies) {
    ScriptedStream stream;
    for (const Bytes& reply : replies) stream.AddReply(reply);
    HandheldClient client(stream);
    MailTransfer transfer(client, MailClock());
    return MailMirror::Run(dir_.string(), transfer);
  }

  fs::path dir_;
};

TEST_F(MailMirrorTest, NoMailNoDirectory) {
  auto summary = RunWith({KeyList({})});
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_FALSE(fs::exists(dir_ / "mail"));
}

TEST_F(MailMirrorTest, WritesChangesAndRemovesMessages) {
  const Bytes attachment = {'h', 'i'};
  auto first =
      RunWith({KeyList({11, 12}), KeyList({11, 12}), LE32(1),
               Records({Inbox(), Draft(u"Plan")}), FileReply(attachment)});
  ASSERT_TRUE(first.ok()) << first.status().message();
  EXPECT_EQ(first->written, 2U);
  const fs::path root = dir_ / "mail";
  for (const char* sub : {"", ".Drafts", ".Sent", ".Outbox", ".Deleted"}) {
    for (const char* leaf : {"cur", "new", "tmp"}) {
      EXPECT_TRUE(fs::is_directory(root / sub / leaf)) << sub << leaf;
    }
  }
  EXPECT_TRUE(fs::exists(root / ".Sent" / "maildirfolder"));
  std::vector<std::string> inbox = Files(root / "cur");
  ASSERT_EQ(inbox.size(), 1U);
  EXPECT_TRUE(inbox[0].ends_with(":2,S")) << inbox[0];
  EXPECT_NE(inbox[0].find(".K11P"), std::string::npos);
  auto message = MailFile::Read(Read(root / "cur" / inbox[0]));
  ASSERT_TRUE(message.ok());
  EXPECT_EQ(message->subject, u"Lunch");
  ASSERT_EQ(message->attachments.size(), 1U);
  EXPECT_EQ(message->attachments[0].data, attachment);
  std::vector<std::string> drafts = Files(root / ".Drafts" / "cur");
  ASSERT_EQ(drafts.size(), 1U);
  EXPECT_TRUE(drafts[0].ends_with(":2,")) << drafts[0];
  EXPECT_TRUE(Files(root / "tmp").empty());

  // Nothing changed: nothing written, the names stay.
  auto second =
      RunWith({KeyList({11, 12}), LE32(1), Records({Inbox(), Draft(u"Plan")}),
               FileReply(attachment)});
  ASSERT_TRUE(second.ok()) << second.status().message();
  EXPECT_EQ(second->written, 0U);
  EXPECT_EQ(second->unchanged, 2U);
  EXPECT_EQ(Files(root / "cur"), inbox);

  // The draft changed, the inbox message is gone.
  auto third = RunWith({KeyList({12}), LE32(1), Records({Draft(u"Plan B")})});
  ASSERT_TRUE(third.ok()) << third.status().message();
  EXPECT_EQ(third->written, 1U);
  EXPECT_EQ(third->removed, 1U);
  EXPECT_TRUE(Files(root / "cur").empty());
  EXPECT_EQ(Files(root / ".Drafts" / "cur"), drafts);  // same name
  auto draft = MailFile::Read(Read(root / ".Drafts" / "cur" / drafts[0]));
  ASSERT_TRUE(draft.ok());
  EXPECT_EQ(draft->subject, u"Plan B");
}

TEST_F(MailMirrorTest, SendsWhatIsDroppedIntoTheOutbox) {
  auto first = RunWith(
      {KeyList({12}), KeyList({12}), LE32(1), Records({Draft(u"Plan")})});
  ASSERT_TRUE(first.ok()) << first.status().message();
  const fs::path dropped = dir_ / "mail" / ".Outbox" / "new" / "x.eml";
  std::ofstream(dropped) << "Subject: Out\n\nbody\n";
  ScriptedStream stream;
  stream.AddReply(LE32(1));                             // CheckOsVersion
  stream.AddReply(Cat({{1, 0}, LE32(0x99), LE32(0)}));  // AddRecord
  stream.AddReply(KeyList({12}));
  stream.AddReply(Records({Draft(u"Plan")}));
  HandheldClient client(stream);
  MailTransfer transfer(client, MailClock());
  auto second = MailMirror::Run(dir_.string(), transfer);
  ASSERT_TRUE(second.ok()) << second.status().message();
  EXPECT_EQ(second->sent, 1U);
  EXPECT_FALSE(fs::exists(dropped));
  MailMessage out;
  out.folder = MailFolder::kOutbox;
  out.subject = u"Out";
  out.body = u"body";
  EXPECT_EQ(stream.WrittenPackets().at(1),
            Cat({{2, 4},
                 LE32(0),
                 MailRecord::Encode(out, MailStore::kMapi, MailClock())}));
}

}  // namespace
}  // namespace desktop
