#include "desktop/sync/directory_applier.h"

#include <optional>

#include "desktop/sync/content_hash.h"
#include "desktop/sync/uid_file_stem.h"

namespace desktop {
namespace {

constexpr std::size_t kBatch = 500;

}  // namespace

Status DirectoryApplier::Recover(MirrorDirectory& files,
                                 CollectionState& state) {
  for (auto& [uid, item] : state.pulled) {
    Result<std::optional<DirectoryEntry>> entry = files.Stat(item.file);
    if (!entry.ok()) return entry.status();
    if (!entry->has_value()) continue;
    Result<std::optional<std::string>> text = files.ReadFile(item.file);
    if (!text.ok()) return text.status();
    if (!text->has_value()) continue;
    bool same = ContentHash::Of(**text) == item.file_hash;
    // An empty hash marks a file known to hold more than the record; it
    // cannot be compared, and its name is the record's own.
    if (!same && !item.file_hash.empty()) continue;
    item.file_size = same ? (*entry)->size : 0;
    item.file_mtime = same ? (*entry)->mtime : 0;
    item.file_checked = same ? (*entry)->checked : 0;
    state.items[uid] = std::move(item);
  }
  state.pulled.clear();
  return Status::Ok();
}

Status DirectoryApplier::Commit(std::vector<std::string>& written) {
  if (!state_.pulled.empty()) VORN_RETURN_IF_ERROR(save_state_());
  VORN_RETURN_IF_ERROR(files_.CommitStaged());
  if (stop_after_renames_ && !written.empty()) {
    return Status::Error("stopped after renaming files as asked");
  }
  for (const std::string& uid : written) {
    auto pulled = state_.pulled.find(uid);
    if (pulled != state_.pulled.end()) {
      state_.items.insert_or_assign(uid, std::move(pulled->second));
      state_.pulled.erase(pulled);
    }
    auto renamed = after_rename_.find(uid);
    if (renamed != after_rename_.end()) {
      state_.items.insert_or_assign(uid, std::move(renamed->second));
      after_rename_.erase(renamed);
    }
    ItemState& item = state_.items[uid];
    Result<std::optional<DirectoryEntry>> entry = files_.Stat(item.file);
    if (!entry.ok()) return entry.status();
    if (entry->has_value()) {
      item.file_size = (*entry)->size;
      item.file_mtime = (*entry)->mtime;
      item.file_checked = (*entry)->checked;
    }
  }
  written.clear();
  return Status::Ok();
}

Status DirectoryApplier::Apply(const std::vector<Pull>& pulls) {
  std::vector<std::string> written;
  for (const Pull& pull : pulls) {
    if (pull.remove) {
      if (!pull.file.empty()) {
        Result<bool> removed = files_.RemoveFile(pull.file);
        if (!removed.ok()) return removed.status();
        if (*removed) ++summary_.deleted;
      }
      state_.items.erase(pull.uid);
      state_.pulled.erase(pull.uid);
      continue;
    }
    std::string file = pull.file.empty()
                           ? UidFileStem::Of(pull.uid) + adapter_.extension()
                           : pull.file;
    Result<std::optional<std::string>> existing = files_.ReadFile(file);
    if (!existing.ok()) return existing.status();
    std::string old = existing->value_or("");
    bool known = state_.items.count(pull.uid) != 0;
    // A new file is journaled until it is in place (see Recover); a known
    // item's state changes only once its file is, since the journal's save
    // must not record content that is not there yet.
    ItemState& item = known ? after_rename_[pull.uid] : state_.pulled[pull.uid];
    if (known) item = state_.items[pull.uid];
    item.uid = pull.uid;
    item.oid = pull.oid;
    item.handheld_hash = pull.hash;
    item.file = file;
    if (existing->has_value()) {
      // A file that holds the content already is left as it is (its REV
      // included).
      Result<DesktopItem> current = adapter_.FromFile(old);
      if (current.ok() && current->canonical == pull.canonical &&
          current->uid == pull.uid) {
        ++summary_.unchanged;
        item.file_hash = ContentHash::Of(old);
        written.push_back(pull.uid);  // refreshes the stamps
        continue;
      }
    }
    Result<std::string> text =
        adapter_.ToFile(pull.canonical, old, pull.uid, rev_);
    if (!text.ok()) {
      // A file that no longer parses is replaced whole.
      text = adapter_.ToFile(pull.canonical, "", pull.uid, rev_);
      if (!text.ok()) return text.status();
    }
    ++(known ? summary_.changed : summary_.added);
    item.file_hash = ContentHash::Of(*text);
    // Kept properties that now find a free field (a fourth e-mail address
    // once the handheld has room) make the file hold more than the
    // handheld: the next run sends it as a change of the file. A file
    // written from the record alone keeps nothing else.
    if (!old.empty()) {
      Result<DesktopItem> reread = adapter_.FromFile(*text);
      if (reread.ok() && reread->canonical != pull.canonical) {
        item.file_hash.clear();
      }
    }
    VORN_RETURN_IF_ERROR(files_.StageFile(file, *text));
    written.push_back(pull.uid);
    if (written.size() >= kBatch) VORN_RETURN_IF_ERROR(Commit(written));
  }
  return Commit(written);
}

Status DirectoryApplier::KeepCopies(const std::vector<ConflictCopy>& copies) {
  std::unique_ptr<MirrorDirectory> dir;
  for (const ConflictCopy& copy : copies) {
    if (copy.name.empty()) {
      summary_.conflicts.push_back(copy.line);
      continue;
    }
    if (!dir) {
      Result<std::unique_ptr<MirrorDirectory>> opened =
          top_.OpenSubdirectory(kConflictDir);
      if (!opened.ok()) return opened.status();
      dir = std::move(*opened);
    }
    // Copies of one item in one second get numbers; none is overwritten.
    std::string name = copy.name;
    std::string extension = adapter_.extension();
    std::string stem = name.substr(0, name.size() - extension.size());
    for (int n = 2;; ++n) {
      Result<std::optional<DirectoryEntry>> there = dir->Stat(name);
      if (!there.ok()) return there.status();
      if (!there->has_value()) break;
      name = stem;
      name += "-";
      name += std::to_string(n);
      name += extension;
    }
    VORN_RETURN_IF_ERROR(dir->WriteFileDurably(name, copy.text));
    std::string line = copy.line;
    std::size_t at = line.rfind(copy.name);
    if (at != std::string::npos) line.replace(at, copy.name.size(), name);
    summary_.conflicts.push_back(line);
  }
  return Status::Ok();
}

}  // namespace desktop
