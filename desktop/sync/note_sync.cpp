#include "desktop/sync/note_sync.h"

#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/content_hash.h"
#include "desktop/sync/note_mirror.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/utc_stamp.h"

namespace desktop {
namespace {

constexpr char kTxt[] = ".txt";

struct Side {
  bool present = false;
  std::string text;
  std::string hash;
};

enum class Action { kNone, kPull, kPush };

// One file name with what each side and the last run have for it.
struct Item {
  const Note* note = nullptr;  // the handheld's
  Side handheld;
  Side desktop;
  std::int64_t mtime = 0;  // of the file, nanoseconds since 1970
  std::optional<std::string> agreed;
  Action action = Action::kNone;
  bool conflict = false;  // changed on both sides, to different texts
};

struct State {
  std::int64_t last_run = 0;
  std::map<std::string, std::string> agreed;  // file name, text hash
  // What a run that has not finished was carrying over, journaled before
  // it wrote anything: file name, hash of the text the handheld (pushing)
  // or the file (pulling) was to get, "" for a deletion.
  std::map<std::string, std::string> pushing;
  std::map<std::string, std::string> pulling;
};

Side SideOf(std::string text) {
  Side side{true, std::move(text), ""};
  side.hash = ContentHash::Of(side.text);
  return side;
}

// A file's text as a note's: LF line ends become CR LF.
std::u16string NoteText(const std::string& file) {
  std::string text;
  text.reserve(file.size() + file.size() / 16);
  for (std::size_t i = 0; i < file.size(); ++i) {
    if (file[i] == '\n' && (i == 0 || file[i - 1] != '\r')) text += '\r';
    text += file[i];
  }
  return Utf8ToUtf16(text);
}

std::string Stem(const std::string& name) {
  return name.substr(0, name.size() - (sizeof kTxt - 1));
}

Result<State> LoadState(const MirrorDirectory& top, bool* found) {
  Result<std::optional<std::string>> text = top.ReadFile(NoteSync::kStateFile);
  if (!text.ok()) return text.status();
  State state;
  *found = text->has_value();
  if (!*found) return state;
  Result<Json> json = JsonText::Parse(**text);
  if (!json.ok()) {
    return json.status().WithContext(top.path() + "/" + NoteSync::kStateFile);
  }
  try {
    state.last_run = json->value("last_run_epoch", std::int64_t{0});
    for (const auto& [name, hash] : json->at("notes").items()) {
      state.agreed[name] = hash.get<std::string>();
    }
    for (auto [key, journal] : {std::pair{"pushing", &state.pushing},
                                std::pair{"pulling", &state.pulling}}) {
      if (!json->contains(key)) continue;
      for (const auto& [name, hash] : json->at(key).items()) {
        (*journal)[name] = hash.get<std::string>();
      }
    }
  } catch (const Json::exception& e) {
    return Status::Error(top.path() + "/" + NoteSync::kStateFile +
                         ": not a notes state: " + e.what());
  }
  return state;
}

Status SaveState(MirrorDirectory& top, const State& state) {
  Json json = Json::object();
  json["version"] = 1;
  json["last_run_epoch"] = state.last_run;
  Json notes = Json::object();
  for (const auto& [name, hash] : state.agreed) notes[name] = hash;
  json["notes"] = std::move(notes);
  for (auto [key, journal] : {std::pair{"pushing", &state.pushing},
                              std::pair{"pulling", &state.pulling}}) {
    if (journal->empty()) continue;
    Json hashes = Json::object();
    for (const auto& [name, hash] : *journal) hashes[name] = hash;
    json[key] = std::move(hashes);
  }
  return top.WriteFileDurably(NoteSync::kStateFile, JsonText::Write(json));
}

// Decides what happens to `item`; false when both sides agree.
bool Decide(Item& item, const ConflictResolver& resolver) {
  const std::string& h = item.handheld.hash;
  const std::string& d = item.desktop.hash;
  if (h == d) return false;
  const std::string s = item.agreed.value_or("");
  bool handheld_changed = h != s;
  bool desktop_changed = d != s;
  if (handheld_changed && !desktop_changed) {
    item.action = Action::kPull;
  } else if (desktop_changed && !handheld_changed) {
    item.action = Action::kPush;
  } else {
    DesktopChange change;
    change.kind =
        item.desktop.present ? SideChange::kChanged : SideChange::kDeleted;
    change.entry.mtime = item.mtime;
    item.conflict = true;
    item.action = resolver.Decide(change) == ConflictResolver::Winner::kHandheld
                      ? Action::kPull
                      : Action::kPush;
  }
  return true;
}

class NoteRun {
 public:
  NoteRun(MirrorDirectory& top, NoteWriter& handheld,
          const NoteSyncOptions& options)
      : top_(top), handheld_(handheld), options_(options) {}

  Result<NoteSyncSummary> Go(const std::vector<Note>& notes);

 private:
  Status Gather(const std::vector<Note>& notes);
  Status CheckDeletions() const;
  Status KeepLosers();
  // Saves what the run is about to carry over, before it writes.
  Status Journal();
  Status Push(const std::string& name, Item& item);
  Status Pull();

  MirrorDirectory& top_;
  NoteWriter& handheld_;
  NoteSyncOptions options_;
  std::unique_ptr<MirrorDirectory> dir_;
  std::map<std::string, Item> items_;
  // Files to write with the text the handheld made of a pushed note.
  std::vector<std::pair<std::string, std::string>> rewrites_;
  State state_;
  std::size_t known_ = 0;  // notes the last run left
  std::int64_t now_ = std::time(nullptr);
  NoteSyncSummary summary_;
};

Status NoteRun::Gather(const std::vector<Note>& notes) {
  std::set<std::string> unreadable;
  for (const Note& note : notes) {
    std::string name = NoteMirror::FileName(note);
    if (!note.has_text) unreadable.insert(name);
    Item& item = items_[name];
    if (item.note != nullptr) continue;  // one note per name
    item.note = &note;
    item.handheld = SideOf(Utf16ToUtf8(note.TextWithNewlines()));
  }
  Result<std::vector<DirectoryEntry>> files = dir_->List(kTxt);
  if (!files.ok()) return files.status();
  for (const DirectoryEntry& entry : *files) {
    Result<std::optional<std::string>> text = dir_->ReadFile(entry.name);
    if (!text.ok()) return text.status();
    if (!text->has_value()) continue;  // gone since the listing
    Item& item = items_[entry.name];
    item.desktop = SideOf(std::move(**text));
    item.mtime = entry.mtime;
  }
  for (const auto& [name, hash] : state_.agreed) items_[name].agreed = hash;
  // A cut run may have written a side and not the state: that side, where
  // it has what the run was carrying, agrees with the other as it was
  // then (a later edit on the other side is a change of that side alone).
  // The state learns it at once: this run's journal replaces that one.
  for (auto [journal, handheld] :
       {std::pair{&state_.pushing, true}, std::pair{&state_.pulling, false}}) {
    for (const auto& [name, hash] : *journal) {
      auto item = items_.find(name);
      if (item == items_.end()) continue;
      const Side& target =
          handheld ? item->second.handheld : item->second.desktop;
      if (target.hash != hash) continue;
      if (hash.empty()) {
        item->second.agreed.reset();
        state_.agreed.erase(name);
      } else {
        item->second.agreed = hash;
        state_.agreed[name] = hash;
      }
    }
  }
  // A note the handheld sent without its text cannot be compared.
  for (const std::string& name : unreadable) items_.erase(name);
  ConflictResolver resolver(options_.conflict, state_.last_run, now_);
  for (auto& [name, item] : items_) {
    if (!Decide(item, resolver)) {
      if (item.handheld.present) {
        state_.agreed[name] = item.handheld.hash;
        ++summary_.unchanged;
      } else {
        state_.agreed.erase(name);
      }
    }
  }
  return Status::Ok();
}

Status NoteRun::CheckDeletions() const {
  if (options_.force) return Status::Ok();
  std::size_t on_handheld = 0;
  std::size_t in_directory = 0;
  for (const auto& [name, item] : items_) {
    if (item.action == Action::kPush && !item.desktop.present) ++on_handheld;
    if (item.action == Action::kPull && !item.handheld.present) {
      ++in_directory;
    }
  }
  std::size_t known = known_;
  for (auto [n, where] : {std::pair{on_handheld, "on the handheld"},
                          std::pair{in_directory, "in the directory"}}) {
    if (n > 0 && 2 * n > known) {
      return Status::Error("refusing to delete " + std::to_string(n) + " of " +
                           std::to_string(known) + " notes " + where +
                           " (more than half); run again with --force to "
                           "do it");
    }
  }
  return Status::Ok();
}

Status NoteRun::Journal() {
  state_.pushing.clear();
  state_.pulling.clear();
  for (const auto& [name, item] : items_) {
    if (item.action == Action::kPush) state_.pushing[name] = item.desktop.hash;
    if (item.action == Action::kPull) state_.pulling[name] = item.handheld.hash;
  }
  if (state_.pushing.empty() && state_.pulling.empty()) return Status::Ok();
  return SaveState(top_, state_);
}

Status NoteRun::KeepLosers() {
  std::unique_ptr<MirrorDirectory> conflicts;
  const std::string stamp = BasicUtcStamp(now_);
  for (const auto& [name, item] : items_) {
    if (!item.conflict) continue;
    bool handheld_wins = item.action == Action::kPull;
    const Side& loser = handheld_wins ? item.desktop : item.handheld;
    std::string line = "conflict notes/" + name +
                       ": changed on both sides; "
                       "kept the " +
                       (handheld_wins ? "handheld's" : "desktop's") +
                       " version";
    if (loser.present) {
      if (!conflicts) {
        Result<std::unique_ptr<MirrorDirectory>> opened =
            top_.OpenSubdirectory(NoteSync::kConflictDir);
        if (!opened.ok()) return opened.status();
        conflicts = std::move(*opened);
      }
      std::string copy = "notes-" + Stem(name) + "-" + stamp + "-" +
                         (handheld_wins ? "desktop" : "handheld") + kTxt;
      VORN_RETURN_IF_ERROR(conflicts->WriteFileDurably(copy, loser.text));
      line += ", the other is in " + std::string(NoteSync::kConflictDir) + "/" +
              copy;
    }
    summary_.conflicts.push_back(std::move(line));
  }
  return Status::Ok();
}

Status NoteRun::Push(const std::string& name, Item& item) {
  if (!item.desktop.present) {
    VORN_RETURN_IF_ERROR(handheld_.Delete(item.note->oid.value_or(0)));
    ++summary_.sent_deleted;
    state_.agreed.erase(name);
    return Status::Ok();
  }
  Note note;
  note.title =
      item.note != nullptr ? item.note->title : Utf8ToUtf16(Stem(name));
  note.text = NoteText(item.desktop.text);
  std::uint32_t oid =
      item.note != nullptr ? item.note->oid.value_or(0) : std::uint32_t{0};
  Result<Note> written = handheld_.Write(oid, note);
  if (!written.ok()) return written.status();
  ++(oid == 0 ? summary_.sent_added : summary_.sent_changed);
  // The file takes the note as the handheld keeps it: under the name its
  // title now gives (when that name is free) and with its text as the
  // handheld reads it back, so that both sides agree.
  std::string file = NoteMirror::FileName(*written);
  if (file != name && !items_.contains(file)) {
    VORN_RETURN_IF_ERROR(dir_->Rename(name, file));
    state_.agreed.erase(name);
  } else {
    file = name;
  }
  Side back = SideOf(Utf16ToUtf8(written->TextWithNewlines()));
  if (back.text != item.desktop.text) rewrites_.emplace_back(file, back.text);
  state_.agreed[file] = back.hash;
  return Status::Ok();
}

Status NoteRun::Pull() {
  for (auto& [name, item] : items_) {
    if (item.action != Action::kPull) continue;
    if (item.handheld.present) {
      VORN_RETURN_IF_ERROR(dir_->StageFile(name, item.handheld.text));
      ++summary_.written;
    }
  }
  for (const auto& [name, text] : rewrites_) {
    VORN_RETURN_IF_ERROR(dir_->StageFile(name, text));
  }
  VORN_RETURN_IF_ERROR(dir_->CommitStaged());
  for (auto& [name, item] : items_) {
    if (item.action != Action::kPull) continue;
    if (item.handheld.present) {
      state_.agreed[name] = item.handheld.hash;
      continue;
    }
    Result<bool> removed = dir_->RemoveFile(name);
    if (!removed.ok()) return removed.status();
    if (*removed) ++summary_.removed;
    state_.agreed.erase(name);
  }
  return dir_->SyncDirectory();
}

Result<NoteSyncSummary> NoteRun::Go(const std::vector<Note>& notes) {
  bool had_state = false;
  Result<State> state = LoadState(top_, &had_state);
  if (!state.ok()) return state.status();
  state_ = std::move(*state);
  known_ = state_.agreed.size();
  std::error_code error;
  bool dir_exists = std::filesystem::is_directory(
      std::filesystem::path(top_.path()) / "notes", error);
  if (notes.empty() && !dir_exists && !had_state) return summary_;
  Result<std::unique_ptr<MirrorDirectory>> dir = top_.OpenSubdirectory("notes");
  if (!dir.ok()) return dir.status();
  dir_ = std::move(*dir);
  VORN_RETURN_IF_ERROR(dir_->RemoveStrayTemporaries());
  VORN_RETURN_IF_ERROR(Gather(notes));
  VORN_RETURN_IF_ERROR(CheckDeletions());
  VORN_RETURN_IF_ERROR(KeepLosers());
  VORN_RETURN_IF_ERROR(Journal());
  for (auto& [name, item] : items_) {
    if (item.action == Action::kPush) VORN_RETURN_IF_ERROR(Push(name, item));
  }
  VORN_RETURN_IF_ERROR(Pull());
  state_.pushing.clear();
  state_.pulling.clear();
  state_.last_run = now_;
  VORN_RETURN_IF_ERROR(SaveState(top_, state_));
  return summary_;
}

}  // namespace

Result<NoteSyncSummary> NoteSync::Run(MirrorDirectory& top,
                                      const std::vector<Note>& notes,
                                      NoteWriter& handheld,
                                      const NoteSyncOptions& options) {
  NoteRun run(top, handheld, options);
  return run.Go(notes);
}

}  // namespace desktop
