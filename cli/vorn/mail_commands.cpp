// Mail in `vorn get` and `vorn put`: messages shown, written as RFC 5322
// files, and added from them.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/mail_file.h"
#include "desktop/formats/mail_transfer.h"

namespace vorn_cli {

namespace {

desktop::Result<desktop::MailClock> ClockOf(const CommandLine& line) {
  auto zone = desktop::IcalZone::Named(line.tz);
  if (!zone.ok()) return zone.status();
  return desktop::MailClock::ForZone(*zone);
}

std::string TimeText(const desktop::MailMessage& message) {
  return message.time ? message.time->ToIso() + "Z" : "";
}

void PrintSummary(const desktop::MailMessage& message) {
  auto u8 = [](const std::u16string& text) {
    return desktop::Utf16ToUtf8(text);
  };
  std::printf("mail %u: %s\n", message.key.value_or(0),
              u8(message.subject).c_str());
  std::printf("  folder:  %s%s\n",
              desktop::MailFolderName(message.folder).c_str(),
              message.read ? ", read" : "");
  const std::pair<const char*, const std::u16string*> fields[] = {
      {"from", &message.from},
      {"to", &message.to},
      {"cc", &message.cc},
      {"bcc", &message.bcc}};
  for (const auto& [name, value] : fields) {
    if (!value->empty()) {
      std::printf("  %-8s %s\n", (std::string(name) + ":").c_str(),
                  u8(*value).c_str());
    }
  }
  if (message.time) std::printf("  time:    %s\n", TimeText(message).c_str());
  for (const desktop::MailAttachment& attachment : message.attachments) {
    std::printf("  attachment: %s (%zu bytes)\n", u8(attachment.name).c_str(),
                attachment.data.size());
  }
}

desktop::Json SummaryJson(const desktop::MailMessage& message) {
  desktop::Json item = desktop::Json::object();
  item["key"] = message.key.value_or(0);
  item["folder"] = desktop::MailFolderName(message.folder);
  item["read"] = message.read;
  item["from"] = desktop::Utf16ToUtf8(message.from);
  item["to"] = desktop::Utf16ToUtf8(message.to);
  item["cc"] = desktop::Utf16ToUtf8(message.cc);
  item["bcc"] = desktop::Utf16ToUtf8(message.bcc);
  item["subject"] = desktop::Utf16ToUtf8(message.subject);
  item["time"] = TimeText(message);
  item["body"] = desktop::Utf16ToUtf8(message.body);
  desktop::Json files = desktop::Json::array();
  for (const desktop::MailAttachment& attachment : message.attachments) {
    files.push_back({{"name", desktop::Utf16ToUtf8(attachment.name)},
                     {"size", attachment.data.size()}});
  }
  item["attachments"] = std::move(files);
  return item;
}

}  // namespace

int RunGetMail(const CommandLine& line, const std::vector<std::uint32_t>& keys,
               bool eml) {
  auto clock = ClockOf(line);
  if (!clock.ok()) return Fail(clock.status().message());
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::MailTransfer transfer((*session)->client(), *clock);
  auto fetched = transfer.Fetch(keys);
  if (!fetched.ok()) return Fail(fetched.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  int status = 0;
  desktop::Json out = desktop::Json::array();
  for (const desktop::MailMessage& message : fetched->messages) {
    if (eml) {
      std::fputs(desktop::MailFile::Write(message).c_str(), stdout);
    } else if (line.json) {
      out.push_back(SummaryJson(message));
    } else {
      PrintSummary(message);
    }
  }
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  for (std::uint32_t key : fetched->missing) {
    status = Fail("the handheld has no message " + std::to_string(key));
  }
  return status;
}

bool IsMailFile(const std::string& path) {
  if (path.size() < 4) return false;
  std::string tail = path.substr(path.size() - 4);
  for (char& c : tail) c = static_cast<char>(std::tolower(c));
  return tail == ".eml";
}

int RunPutMail(const CommandLine& line, const std::string& path,
               const std::string& folder) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return Fail("cannot read " + path);
  std::stringstream text;
  text << file.rdbuf();
  auto message = desktop::MailFile::Read(text.str());
  if (!message.ok()) return Fail(path + ": " + message.status().message());
  std::optional<desktop::MailFolder> target = desktop::MailFolderNamed(folder);
  if (!target || (*target != desktop::MailFolder::kDrafts &&
                  *target != desktop::MailFolder::kOutbox)) {
    return Fail("--folder takes drafts or outbox");
  }
  message->folder = *target;
  message->read = false;
  auto clock = ClockOf(line);
  if (!clock.ok()) return Fail(clock.status().message());

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::MailTransfer transfer((*session)->client(), *clock);
  auto written = transfer.Add(*message);
  if (!written.ok()) return Fail(written.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (!written->ok) return Fail(path + ": the handheld did not take it");
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["key"] = written->oid;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("%u\n", written->oid);
  }
  return 0;
}

}  // namespace vorn_cli
