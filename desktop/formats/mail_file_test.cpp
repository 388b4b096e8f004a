// Mail files: written and read back, and written for an independent parser
// (tests/check_eml.py, run by CTest).
#include "desktop/formats/mail_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

std::vector<std::uint8_t> Pattern(std::size_t size, int seed) {
  std::vector<std::uint8_t> out(size);
  std::uint32_t x = 2463534242U + static_cast<std::uint32_t>(seed);
  for (auto& byte : out) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    byte = static_cast<std::uint8_t>(x);
  }
  return out;
}

MailMessage Sample(const std::vector<std::size_t>& sizes) {
  MailMessage message;
  message.from = u"ann@example.org";
  message.to = u"bob@example.org;cy@example.org";
  message.cc = u"dee@example.org";
  message.bcc = u"eve@example.org";
  message.subject = u"Gr\u00FC\u00DFe aus K\u00F6ln \u263A";
  message.body = u"Hallo Bob,\n\u00E4\u00F6\u00FC und \u20AC.\n-- \nAnn\n";
  TimeRecord time = TimeRecord::FromDate(2026, 11, 23);
  time.hour = 14;
  time.minute = 5;
  time.second = 9;
  message.time = time;
  message.message_id = u"<m42@example.org>";
  const std::u16string names[] = {u"notes.txt", u"\u00E9t\u00E9 photo.jpg",
                                  u"data.bin", u"big.dat"};
  int seed = 0;
  for (std::size_t size : sizes) {
    MailAttachment attachment;
    attachment.name = names[seed % 4];
    attachment.data = Pattern(size, seed);
    ++seed;
    message.attachments.push_back(std::move(attachment));
  }
  return message;
}

void ExpectSame(const MailMessage& got, const MailMessage& want) {
  EXPECT_EQ(got.from, want.from);
  EXPECT_EQ(got.to, want.to);
  EXPECT_EQ(got.cc, want.cc);
  EXPECT_EQ(got.bcc, want.bcc);
  EXPECT_EQ(got.subject, want.subject);
  EXPECT_EQ(got.body, want.body);
  EXPECT_EQ(got.time, want.time);
  EXPECT_EQ(got.message_id, want.message_id);
  ASSERT_EQ(got.attachments.size(), want.attachments.size());
  for (std::size_t i = 0; i < got.attachments.size(); ++i) {
    EXPECT_EQ(got.attachments[i].name, want.attachments[i].name);
    EXPECT_EQ(got.attachments[i].data, want.attachments[i].data) << i;
  }
}

const std::vector<std::vector<std::size_t>> kShapes = {
    {}, {1024}, {0, 2048, 100000}, {100000}, {2048, 1024, 0}};

TEST(MailFileTest, RoundTripsEveryFieldAndAttachment) {
  for (const auto& sizes : kShapes) {
    MailMessage message = Sample(sizes);
    const std::string text = MailFile::Write(message);
    auto back = MailFile::Read(text);
    ASSERT_TRUE(back.ok()) << back.status().message();
    ExpectSame(*back, message);
  }
}

TEST(MailFileTest, HeadersAreAsciiWithEncodedWords) {
  const std::string text = MailFile::Write(Sample({1024}));
  const std::string head = text.substr(0, text.find("\n\n"));
  for (char c : head) EXPECT_LT(static_cast<unsigned char>(c), 0x80);
  EXPECT_NE(head.find("Subject: =?"), std::string::npos) << head;
  EXPECT_NE(head.find("Date: Mon, 23 Nov 2026 14:05:09 +0000"),
            std::string::npos)
      << head;
  EXPECT_NE(text.find("multipart/mixed"), std::string::npos);
  EXPECT_NE(text.find("Content-Transfer-Encoding: base64"), std::string::npos);
}

TEST(MailFileTest, CarriageReturnsInTheBodyBecomeLineFeeds) {
  MailMessage message;
  message.body = u"one\r\ntwo";
  const std::string text = MailFile::Write(message);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  auto back = MailFile::Read(text);
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back->body, u"one\ntwo");
  EXPECT_TRUE(back->attachments.empty());
  EXPECT_FALSE(back->time.has_value());
}

TEST(MailFileTest, ReadsAForeignMessage) {
  const std::string text =
      "From: \"Ann Example\" <ann@example.org>\n"
      "To: bob@example.org, Cy <cy@example.org>\n"
      "Subject: =?iso-8859-1?q?Gr=FC=DFe?=\n"
      "Date: Tue, 1 Jul 2025 12:00:00 +0200\n"
      "MIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=\"b1\"\n"
      "\n"
      "--b1\n"
      "Content-Type: multipart/alternative; boundary=\"b2\"\n"
      "\n"
      "--b2\n"
      "Content-Type: text/plain; charset=iso-8859-1\n"
      "Content-Transfer-Encoding: quoted-printable\n"
      "\n"
      "K=F6ln\n"
      "--b2\n"
      "Content-Type: text/html\n"
      "\n"
      "<p>K&ouml;ln</p>\n"
      "--b2--\n"
      "--b1\n"
      "Content-Type: text/plain; name=\"a.txt\"\n"
      "Content-Disposition: attachment; filename=\"a.txt\"\n"
      "Content-Transfer-Encoding: base64\n"
      "\n"
      "aGVsbG8=\n"
      "--b1--\n";
  auto message = MailFile::Read(text);
  ASSERT_TRUE(message.ok()) << message.status().message();
  EXPECT_EQ(message->from, u"Ann Example <ann@example.org>");
  EXPECT_EQ(message->to, u"bob@example.org;Cy <cy@example.org>");
  EXPECT_EQ(message->subject, u"Gr\u00FC\u00DFe");
  EXPECT_EQ(message->body, u"K\u00F6ln");
  EXPECT_EQ(message->time->ToIso(), "2025-07-01T10:00:00");
  ASSERT_EQ(message->attachments.size(), 1U);
  EXPECT_EQ(message->attachments[0].name, u"a.txt");
  EXPECT_EQ(message->attachments[0].data,
            (std::vector<std::uint8_t>{'h', 'e', 'l', 'l', 'o'}));
}

TEST(MailFileTest, RefusesWhatIsNoMessage) {
  EXPECT_FALSE(MailFile::Read("").ok());
}

std::string Hex(const std::vector<std::uint8_t>& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  for (std::uint8_t b : bytes) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

// Writes NAME.eml and NAME.json (the fields it must show) per shape into
// $VORN_MAIL_OUT, or a temporary directory when unset.
TEST(MailFileExport, WritesFilesForAnIndependentParser) {
  const char* env = std::getenv("VORN_MAIL_OUT");
  const std::filesystem::path dir =
      env != nullptr ? std::filesystem::path(env)
                     : std::filesystem::temp_directory_path() / "vorn-eml";
  std::filesystem::create_directories(dir);
  int n = 0;
  for (const auto& sizes : kShapes) {
    MailMessage message = Sample(sizes);
    const std::string name = "message-" + std::to_string(n++);
    std::ofstream(dir / (name + ".eml"), std::ios::binary)
        << MailFile::Write(message);
    nlohmann::json want;
    want["from"] = Utf16ToUtf8(message.from);
    want["to"] = Utf16ToUtf8(message.to);
    want["cc"] = Utf16ToUtf8(message.cc);
    want["bcc"] = Utf16ToUtf8(message.bcc);
    want["subject"] = Utf16ToUtf8(message.subject);
    want["body"] = Utf16ToUtf8(message.body);
    want["date"] = message.time->ToIso() + "+00:00";
    want["message_id"] = Utf16ToUtf8(message.message_id);
    want["attachments"] = nlohmann::json::array();
    for (const MailAttachment& a : message.attachments) {
      want["attachments"].push_back(
          {{"name", Utf16ToUtf8(a.name)}, {"hex", Hex(a.data)}});
    }
    std::ofstream(dir / (name + ".json")) << want.dump();
    EXPECT_TRUE(std::filesystem::exists(dir / (name + ".eml")));
  }
}

}  // namespace
}  // namespace desktop
