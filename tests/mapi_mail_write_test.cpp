// Mail on handhelds with MAPI, byte for byte: writing messages (folder
// choice, times, recipients, the record's quirks, attachments read from
// device files) and reading them back.
#include <string>
#include <vector>

#include "tests/mapi_mail_fixture.h"

namespace mapi_mail_test {
namespace {

// A mail record: u32 count, u32 size, u32 word, then the fields as given.
class MailRecord {
 public:
  explicit MailRecord(std::uint32_t word) : word_(word) {}
  MailRecord& Str(std::uint32_t id, std::u16string_view text) {
    ++count_;
    fields_ = Cat({fields_, PropString(id, text)});
    return *this;
  }
  MailRecord& Time(std::uint32_t id, const Bytes& time) {
    ++count_;
    fields_ = Cat({fields_, LE32(id), time});
    return *this;
  }
  MailRecord& Raw(const Bytes& bytes, std::uint32_t countAs) {
    count_ += countAs;
    fields_ = Cat({fields_, bytes});
    return *this;
  }
  Bytes Build() const {
    return Cat({LE32(count_), LE32(0), LE32(word_), fields_});
  }

 private:
  std::uint32_t word_;
  std::uint32_t count_ = 0;
  Bytes fields_;
};

class MapiMailWriteTest : public MapiMailTest {
 protected:
  // Adds the record in a conversation of its own; checks the write status
  // and returns the new key. The status is counted twice in the reply
  // length (the mail decoder leaves the length alone), so the reply is the
  // status and the ten untouched bytes after it (zero in a fresh reply
  // buffer).
  std::uint32_t AddRecord(const MailRecord& record, std::uint32_t id = 77) {
    Bytes reply =
        One(PacketBuilder(2, kMail).U32(id).Raw(record.Build()).packet());
    EXPECT_EQ(reply.size(), 20U);
    if (reply.size() != 20) return 0;
    std::uint32_t key = protocol::GetU32(reply.data() + 2);
    EXPECT_NE(key, 0U);
    EXPECT_EQ(reply, Cat({Bytes{1, 0}, LE32(key), LE32(id), Bytes(10, 0)}));
    return key;
  }
  Bytes Read(std::uint32_t key) {
    return One(PacketBuilder(7, kMail).U32(key).packet());
  }
  device::MailSummary Summary(std::uint32_t key) {
    device::MailEditor editor(mapi());
    for (const auto& summary : editor.List()) {
      if (summary.key == key) return summary;
    }
    ADD_FAILURE() << "no message " << key;
    return {};
  }
  // Puts `bytes` into the device file `path` through the agent.
  void PutFile(std::u16string_view path, const Bytes& bytes) {
    Bytes reply = One(PacketBuilder(18, kMail)
                          .Str(path)
                          .U32(0)
                          .U32(static_cast<std::uint32_t>(bytes.size()))
                          .Raw(bytes)
                          .packet());
    ASSERT_EQ(reply.size(), 6U);
    EXPECT_EQ(reply[0], 1);
  }
  // The whole device file, or the reply's first two bytes when it is not
  // there.
  Bytes GetFile(std::u16string_view path) {
    Bytes reply = One(
        PacketBuilder(19, kMail).Str(path).U32(0).U32(0).U32(200000).packet());
    if (reply.size() < 10 || reply[0] != 1) {
      return Bytes(reply.begin(), reply.begin() + 2);
    }
    return Bytes(reply.begin() + 10, reply.end());
  }
  static std::u16string AttachmentList(
      const std::vector<std::pair<std::u16string, std::u16string>>& files) {
    std::u16string text = ToText(files.size()) + u" ";
    for (const auto& [path, name] : files) {
      text += ToText(path.size());
      text += u" ";
      text += path;
      text += ToText(name.size());
      text += u" ";
      text += name;
    }
    return text;
  }
  static std::u16string ToText(std::size_t n) {
    std::string digits = std::to_string(n);
    return std::u16string(digits.begin(), digits.end());
  }
};

TEST_F(MapiMailWriteTest, TheLaterOfTimesSixAndNineWins) {
  Bytes early = TimeRecord(2025, 3, 0, 2, 8, 0, 0);
  Bytes late = TimeRecord(2025, 4, 0, 6, 9, 30, 0);
  std::uint32_t first = AddRecord(MailRecord(254).Time(6, early).Time(9, late));
  std::uint32_t second =
      AddRecord(MailRecord(254).Time(9, early).Time(6, late));
  EXPECT_EQ(Read(first), Cat({RecordHeader(first, 3), LE32(6),
                              TimeRecord(2025, 4, 0, 6, 9, 30, 0),
                              PropLong(11, 254), PropLong(14, 0)}));
  EXPECT_EQ(Read(second), Cat({RecordHeader(second, 3), LE32(6),
                               TimeRecord(2025, 4, 0, 6, 9, 30, 0),
                               PropLong(11, 254), PropLong(14, 0)}));
}

TEST_F(MapiMailWriteTest, FieldElevenCarriesNoValueAndMisreadsTheRest) {
  // The desktop meant 11 = 0x1000FE and 5 = "S"; the handheld takes
  // 0x1000FE for the second identifier and ends there.
  std::uint32_t key = AddRecord(MailRecord(0x1000FE).Raw(
      Cat({LE32(11), LE32(0x1000FE), PropString(5, u"S")}), 2));
  EXPECT_EQ(Read(key), Cat({RecordHeader(key, 2), PropLong(11, 0x1000FE),
                            PropLong(14, 0)}));
  EXPECT_TRUE(Summary(key).subject.empty());
}

TEST_F(MapiMailWriteTest, RecipientsSplitAtSemicolonsOnly) {
  std::uint32_t spaced = AddRecord(MailRecord(252).Str(2, u"A; B"));
  std::uint32_t comma = AddRecord(MailRecord(252).Str(2, u"A,B"));
  EXPECT_EQ(Summary(spaced).recipients, 2U);
  EXPECT_EQ(Summary(comma).recipients, 1U);
  EXPECT_EQ(Read(spaced), Cat({RecordHeader(spaced, 3), PropLong(11, 252),
                               PropLong(14, 0), PropString(2, u"A;B")}));
  EXPECT_EQ(Read(comma), Cat({RecordHeader(comma, 3), PropLong(11, 252),
                              PropLong(14, 0), PropString(2, u"A,B")}));
}

TEST_F(MapiMailWriteTest, BccWithoutToSetsNoBcc) {
  std::uint32_t bccOnly = AddRecord(MailRecord(252).Str(4, u"hidden"));
  std::uint32_t ccAndBcc =
      AddRecord(MailRecord(252).Str(3, u"c").Str(4, u"hidden"));
  std::uint32_t all =
      AddRecord(MailRecord(252).Str(2, u"t").Str(3, u"c").Str(4, u"h"));
  EXPECT_EQ(Summary(bccOnly).recipients, 0U);
  EXPECT_EQ(Summary(ccAndBcc).recipients, 1U);
  EXPECT_EQ(Read(all), Cat({RecordHeader(all, 5), PropLong(11, 252),
                            PropLong(14, 0), PropString(2, u"t"),
                            PropString(3, u"c"), PropString(4, u"h")}));
}

TEST_F(MapiMailWriteTest, NewOutboxMessagesAreCreatedInTheInbox) {
  std::uint32_t key = AddRecord(MailRecord(253).Str(5, u"out"));
  EXPECT_EQ(Summary(key).folder, MailFolder::kInbox);
  std::uint32_t draft = AddRecord(MailRecord(0x400000));
  EXPECT_EQ(Summary(draft).folder, MailFolder::kDrafts);
  std::uint32_t sent = AddRecord(MailRecord(252 | 0x100000));
  EXPECT_EQ(Summary(sent).folder, MailFolder::kSent);
  EXPECT_TRUE(Summary(sent).read);
}

TEST_F(MapiMailWriteTest, AnUpdateRewritesTheMessageUnderItsKey) {
  NewMail old;
  old.body = u"a much longer body than the new one";
  std::uint32_t key = Add(old);
  Bytes reply = One(PacketBuilder(3, kMail)
                        .U32(key)
                        .Raw(MailRecord(254 | 0x100000)
                                 .Str(5, u"new subject")
                                 .Str(1, u"me@here")
                                 .Str(7, u"body")
                                 .Build())
                        .packet());
  EXPECT_EQ(reply, Cat({Bytes{1, 0}, LE32(key), LE32(key), Bytes(10, 0)}));
  EXPECT_EQ(Read(key), Cat({RecordHeader(key, 5), PropString(5, u"new subject"),
                            PropLong(11, 0x1000FE), PropString(1, u"me@here"),
                            PropLong(14, 0), PropString(7, u"body")}));
}

TEST_F(MapiMailWriteTest, AnUpdateOfAnUnknownKeyIsRefused) {
  Bytes reply = One(
      PacketBuilder(3, kMail).U32(0xBAD).Raw(MailRecord(254).Build()).packet());
  EXPECT_EQ(reply, Cat({Bytes{0, 3}, LE32(0xBAD), LE32(0xBAD), Bytes(10, 0)}));
}

// Counts the reads of files and the bytes they asked for.
class ReadCounter : public platform::FileSystemWrapper {
 public:
  using platform::FileSystemWrapper::FileSystemWrapper;
  BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* done,
                void* overlapped) override {
    BOOL result = target()->ReadFile(file, buffer, count, done, overlapped);
    reads.push_back({count, done != nullptr ? *done : 0});
    return result;
  }
  std::vector<std::pair<DWORD, DWORD>> reads;
};

TEST_F(MapiMailWriteTest, A2048ByteAttachmentIsCopiedInThreeReadsAndDeleted) {
  PutFile(u"\\up.bin", Bytes(2048, 0x11));
  platform::Services services = handheld_.device().services();
  ReadCounter counter(services.files);
  services.files = &counter;
  Bytes input = testing_support::FramePacket(
      PacketBuilder(2, kMail)
          .U32(1)
          .Raw(MailRecord(254)
                   .Str(8, AttachmentList({{u"\\up.bin", u"report.pdf"}}))
                   .Build())
          .packet());
  input = Cat({input, testing_support::FramePacket({1, kMail})});
  auto outcome = handheld_.Converse(input, services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(counter.reads, (std::vector<std::pair<DWORD, DWORD>>{
                               {1024, 1024}, {1024, 1024}, {1024, 0}}));
  EXPECT_EQ(GetFile(u"\\up.bin"), (Bytes{0, 0}));
  Summary(protocol::GetU32(frames[0].data() + 2));
}

TEST_F(MapiMailWriteTest, AttachmentsRoundTripAtEverySize) {
  const std::vector<std::vector<std::size_t>> cases = {
      {}, {0}, {1024}, {2048}, {100000}, {0, 1024, 2048}, {100000, 1, 2048}};
  for (const auto& sizes : cases) {
    std::vector<std::pair<std::u16string, std::u16string>> files;
    std::vector<Bytes> contents;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      Bytes bytes(sizes[i]);
      for (std::size_t b = 0; b < bytes.size(); ++b) {
        bytes[b] = static_cast<std::uint8_t>(b * 7 + i);
      }
      std::u16string path = u"\\in" + ToText(i) + u".dat";
      if (!bytes.empty()) PutFile(path, bytes);
      if (bytes.empty()) PutFile(path, {});
      files.emplace_back(path, u"file" + ToText(i) + u".bin");
      contents.push_back(bytes);
    }
    MailRecord record(254);
    record.Str(5, u"with files");
    if (!files.empty()) record.Str(8, AttachmentList(files));
    std::uint32_t key = AddRecord(record);
    Bytes reply = Read(key);
    Bytes prefix =
        Cat({RecordHeader(key, files.empty() ? 3 : 4),
             PropString(5, u"with files"), PropLong(11, 254), PropLong(14, 0)});
    if (files.empty()) {
      EXPECT_EQ(reply, prefix);
      continue;
    }
    ASSERT_GT(reply.size(), prefix.size() + 8);
    ASSERT_EQ(Bytes(reply.begin(), reply.begin() + prefix.size()), prefix);
    ASSERT_EQ(protocol::GetU32(reply.data() + prefix.size()), 8U);
    std::u16string list;
    std::uint32_t n = protocol::GetU32(reply.data() + prefix.size() + 4);
    for (std::size_t i = prefix.size() + 8; i + 2 < prefix.size() + 8 + n;
         i += 2) {
      list.push_back(static_cast<char16_t>(reply[i] | (reply[i + 1] << 8)));
    }
    EXPECT_EQ(reply, Cat({prefix, PropString(8, list)}));
    std::vector<std::u16string> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (list[i] == u'\n') {
        lines.push_back(list.substr(start, i - start));
        start = i + 1;
      }
    }
    ASSERT_EQ(lines.size(), 2 * files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
      EXPECT_EQ(lines[2 * i + 1], files[i].second);
      EXPECT_EQ(GetFile(lines[2 * i]), contents[i]) << sizes[i];
      EXPECT_EQ(GetFile(files[i].first), (Bytes{0, 0}));
    }
  }
}

}  // namespace
}  // namespace mapi_mail_test
