#include "desktop/sync/directory_scanner.h"

#include <map>

#include "desktop/sync/content_hash.h"

namespace desktop {

Result<std::optional<DesktopChange>> DirectoryScanner::Read(
    const DirectoryEntry& entry, SideChange kind, const ItemState* known) {
  Result<std::optional<std::string>> text = files_.ReadFile(entry.name);
  if (!text.ok()) return text.status();
  if (!text->has_value()) return std::optional<DesktopChange>();
  DesktopChange change;
  change.kind = kind;
  change.file = entry.name;
  change.entry = entry;
  change.text = std::move(**text);
  change.hash = ContentHash::Of(change.text);
  // An unchanged file is not parsed.
  if (known != nullptr && change.hash == known->file_hash) {
    return std::optional<DesktopChange>(std::move(change));
  }
  Result<DesktopItem> item = adapter_.FromFile(change.text);
  if (!item.ok()) {
    notes_.push_back("skipped " + adapter_.collection() + "/" + entry.name +
                     ": " + item.status().message());
    return std::optional<DesktopChange>();
  }
  change.item = std::move(*item);
  return std::optional<DesktopChange>(std::move(change));
}

Result<std::optional<DesktopChange>> DirectoryScanner::ScanItem(
    ItemState& item) {
  Result<std::optional<DirectoryEntry>> entry = files_.Stat(item.file);
  if (!entry.ok()) return entry.status();
  if (!entry->has_value()) {
    DesktopChange gone;
    gone.kind = SideChange::kDeleted;
    gone.file = item.file;
    gone.uid = item.uid;
    return std::optional<DesktopChange>(std::move(gone));
  }
  const DirectoryEntry& e = **entry;
  // An empty hash marks a file the engine knows to differ from the record.
  if (e.size == item.file_size && e.mtime == item.file_mtime &&
      e.mtime < trusted_before_ && !item.file_hash.empty()) {
    return std::optional<DesktopChange>();
  }
  Result<std::optional<DesktopChange>> change =
      Read(e, SideChange::kChanged, &item);
  if (!change.ok() || !change->has_value()) return change;
  if ((*change)->hash == item.file_hash) {
    item.file_size = e.size;
    item.file_mtime = e.mtime;
    return std::optional<DesktopChange>();
  }
  (*change)->uid = item.uid;
  return change;
}

Result<std::vector<DesktopChange>> DirectoryScanner::Scan() {
  Result<std::vector<DirectoryEntry>> entries =
      files_.List(adapter_.extension());
  if (!entries.ok()) return entries.status();
  std::map<std::string, ItemState*> by_file;
  for (auto& [uid, item] : state_.items) by_file[item.file] = &item;
  std::vector<DesktopChange> changes;
  for (const DirectoryEntry& entry : *entries) {
    auto known = by_file.find(entry.name);
    if (known != by_file.end()) {
      ItemState& item = *known->second;
      by_file.erase(known);
      Result<std::optional<DesktopChange>> change = ScanItem(item);
      if (!change.ok()) return change.status();
      if (change->has_value()) changes.push_back(std::move(**change));
      continue;
    }
    Result<std::optional<DesktopChange>> added =
        Read(entry, SideChange::kAdded, nullptr);
    if (!added.ok()) return added.status();
    if (!added->has_value()) continue;
    (*added)->uid = (*added)->item.uid;
    changes.push_back(std::move(**added));
  }
  for (const auto& [file, item] : by_file) {
    DesktopChange gone;
    gone.kind = SideChange::kDeleted;
    gone.file = file;
    gone.uid = item->uid;
    changes.push_back(std::move(gone));
  }
  return changes;
}

}  // namespace desktop
