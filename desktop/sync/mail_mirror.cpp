#include "desktop/sync/mail_mirror.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/mail_file.h"
#include "desktop/sync/content_hash.h"

namespace desktop {

namespace fs = std::filesystem;

namespace {

constexpr const char* kStateFile = ".vorn-mail.json";
constexpr const char* kSubfolders[] = {"", ".Drafts", ".Sent", ".Outbox",
                                       ".Deleted"};

struct Entry {
  std::string name;    // the unique part of the file name
  std::string folder;  // subfolder, "" for the Inbox
  std::string hash;    // Fingerprint of the message
  bool read = false;
};

std::string Info(bool read) { return read ? ":2,S" : ":2,"; }

Status Error(const std::string& what, const fs::path& path,
             const std::error_code& error) {
  return Status::Error(what + " " + path.string() + ": " + error.message());
}

Status MakeTree(const fs::path& root) {
  std::error_code error;
  for (const char* sub : kSubfolders) {
    for (const char* leaf : {"cur", "new", "tmp"}) {
      fs::create_directories(root / sub / leaf, error);
      if (error) return Error("cannot create", root / sub / leaf, error);
    }
    if (*sub != '\0' && !fs::exists(root / sub / "maildirfolder")) {
      std::ofstream(root / sub / "maildirfolder");
    }
  }
  return Status::Ok();
}

Result<std::map<std::uint32_t, Entry>> LoadState(const fs::path& root) {
  std::map<std::uint32_t, Entry> state;
  std::ifstream file(root / kStateFile);
  if (!file) return state;
  std::stringstream text;
  text << file.rdbuf();
  auto json = JsonText::Parse(text.str());
  if (!json.ok()) {
    return json.status().WithContext((root / kStateFile).string());
  }
  if (!json->is_object() || !json->contains("messages") ||
      !(*json)["messages"].is_object()) {
    return Status::Error((root / kStateFile).string() + ": no messages");
  }
  for (const auto& [key, value] : (*json)["messages"].items()) {
    if (!value.is_object()) continue;
    Entry entry;
    entry.name = value.value("name", "");
    entry.folder = value.value("folder", "");
    entry.hash = value.value("hash", "");
    entry.read = value.value("read", false);
    if (entry.name.empty()) continue;
    state[static_cast<std::uint32_t>(std::stoul(key))] = entry;
  }
  return state;
}

Status SaveState(const fs::path& root,
                 const std::map<std::uint32_t, Entry>& state) {
  Json messages = Json::object();
  for (const auto& [key, entry] : state) {
    messages[std::to_string(key)] = {{"name", entry.name},
                                     {"folder", entry.folder},
                                     {"hash", entry.hash},
                                     {"read", entry.read}};
  }
  Json out = Json::object();
  out["messages"] = std::move(messages);
  const fs::path temporary = root / "tmp" / (std::string(kStateFile) + ".new");
  {
    std::ofstream file(temporary, std::ios::trunc);
    file << JsonText::Write(out) << "\n";
    if (!file) return Status::Error("cannot write " + temporary.string());
  }
  std::error_code error;
  fs::rename(temporary, root / kStateFile, error);
  if (error) return Error("cannot replace", root / kStateFile, error);
  return Status::Ok();
}

// Removes every file of message `name` in `folder` (cur/ and new/, any
// info); returns how many there were.
std::size_t RemoveFiles(const fs::path& root, const Entry& entry) {
  std::size_t removed = 0;
  for (const char* leaf : {"cur", "new"}) {
    std::error_code error;
    for (const auto& file :
         fs::directory_iterator(root / entry.folder / leaf, error)) {
      const std::string name = file.path().filename().string();
      if (name == entry.name || name.starts_with(entry.name + ":")) {
        std::error_code ignored;
        if (fs::remove(file.path(), ignored)) ++removed;
      }
    }
  }
  return removed;
}

std::string NewName(std::uint32_t key) {
  static unsigned serial = 0;
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  std::string safe;
  for (const char* c = host; *c != '\0'; ++c) {
    safe += (*c == '/' || *c == ':') ? '_' : *c;
  }
  if (safe.empty()) safe = "localhost";
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::to_string(
             std::chrono::duration_cast<std::chrono::seconds>(now).count()) +
         ".K" + std::to_string(key) + "P" + std::to_string(getpid()) + "Q" +
         std::to_string(++serial) + "." + safe;
}

Status WriteMessage(const fs::path& root, const Entry& entry,
                    const std::string& text) {
  const fs::path temporary = root / entry.folder / "tmp" / entry.name;
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file) return Status::Error("cannot write " + temporary.string());
  }
  const fs::path target =
      root / entry.folder / "cur" / (entry.name + Info(entry.read));
  std::error_code error;
  fs::rename(temporary, target, error);
  if (error) return Error("cannot move into place", target, error);
  return Status::Ok();
}

// What a message's file shows, as one hash: its fields and attachments
// (the file itself differs from run to run in its MIME boundaries).
std::string Fingerprint(const MailMessage& message) {
  std::string all;
  auto add = [&all](std::string_view piece) {
    all += std::to_string(piece.size());
    all += ':';
    all += piece;
  };
  for (const std::u16string* text :
       {&message.from, &message.to, &message.cc, &message.bcc, &message.subject,
        &message.body, &message.message_id}) {
    add(Utf16ToUtf8(*text));
  }
  add(message.time ? message.time->ToIso() : "");
  for (const MailAttachment& attachment : message.attachments) {
    add(Utf16ToUtf8(attachment.name));
    add(std::string_view(reinterpret_cast<const char*>(attachment.data.data()),
                         attachment.data.size()));
  }
  return ContentHash::Of(all);
}

// Sends the files dropped into .Outbox/new/ to the handheld's Outbox.
Status SendDropped(const fs::path& root, MailTransfer& transfer,
                   MailMirrorSummary& summary) {
  std::error_code error;
  std::vector<fs::path> dropped;
  for (const auto& file :
       fs::directory_iterator(root / ".Outbox" / "new", error)) {
    if (file.is_regular_file()) dropped.push_back(file.path());
  }
  std::sort(dropped.begin(), dropped.end());
  for (const fs::path& path : dropped) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    auto message = MailFile::Read(text.str());
    if (!message.ok()) {
      summary.problems.push_back(path.string() + ": " +
                                 message.status().message());
      continue;
    }
    message->folder = MailFolder::kOutbox;
    message->read = false;
    auto written = transfer.Add(*message);
    if (!written.ok()) return written.status();
    if (!written->ok) {
      summary.problems.push_back(path.string() +
                                 ": the handheld did not take it");
      continue;
    }
    fs::remove(path, error);
    ++summary.sent;
  }
  return Status::Ok();
}

}  // namespace

std::string MailMirror::Subfolder(MailFolder folder) {
  switch (folder) {
    case MailFolder::kInbox:
      return "";
    case MailFolder::kDrafts:
      return ".Drafts";
    case MailFolder::kSent:
      return ".Sent";
    case MailFolder::kOutbox:
      return ".Outbox";
    case MailFolder::kOther:
      break;
  }
  return ".Deleted";
}

Result<MailMirrorSummary> MailMirror::Run(const std::string& dir,
                                          MailTransfer& transfer) {
  const fs::path root = fs::path(dir) / "mail";
  MailMirrorSummary summary;
  if (!fs::exists(root)) {
    auto keys = transfer.Keys();
    if (!keys.ok()) return keys.status();
    if (keys->empty()) return summary;  // no mail: no mail directory
  }
  VORN_RETURN_IF_ERROR(MakeTree(root));
  auto state = LoadState(root);
  if (!state.ok()) return state.status();
  VORN_RETURN_IF_ERROR(SendDropped(root, transfer, summary));

  auto keys = transfer.Keys();
  if (!keys.ok()) return keys.status();
  auto fetched = transfer.Fetch(*keys);
  if (!fetched.ok()) return fetched.status();
  std::set<std::uint32_t> present;
  Status failed;
  for (const MailMessage& message : fetched->messages) {
    const std::uint32_t key = message.key.value_or(0);
    present.insert(key);
    Entry want;
    want.folder = Subfolder(message.folder);
    want.hash = Fingerprint(message);
    want.read = message.read;
    auto known = state->find(key);
    if (known != state->end()) {
      const Entry& have = known->second;
      want.name = have.name;
      const fs::path file =
          root / have.folder / "cur" / (have.name + Info(have.read));
      if (have.folder == want.folder && have.hash == want.hash &&
          have.read == want.read && fs::exists(file)) {
        ++summary.unchanged;
        continue;
      }
      RemoveFiles(root, have);
    } else {
      want.name = NewName(key);
    }
    failed = WriteMessage(root, want, MailFile::Write(message));
    if (!failed.ok()) break;
    (*state)[key] = want;
    ++summary.written;
  }
  if (failed.ok()) {
    // The keys of messages asked for but not sent are gone as well.
    for (auto it = state->begin(); it != state->end();) {
      if (present.count(it->first) != 0) {
        ++it;
        continue;
      }
      RemoveFiles(root, it->second);
      ++summary.removed;
      it = state->erase(it);
    }
  }
  VORN_RETURN_IF_ERROR(SaveState(root, *state));
  if (!failed.ok()) return failed;
  return summary;
}

}  // namespace desktop
