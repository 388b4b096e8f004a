#include "desktop/sync/directory_scanner.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

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

bool DirectoryScanner::Trusted(const ItemState& item) const {
  if (item.file_mtime < trusted_before_) return true;
  // Stamps taken a tick of the file system's clock after the file was
  // written cannot recur with other content. A time of whole seconds may
  // come from a file system that keeps no fractions; it is not relied on.
  return item.file_mtime < item.file_checked &&
         item.file_mtime % 1'000'000'000 != 0;
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
  return Compare(item, **entry);
}

Result<std::optional<DesktopChange>> DirectoryScanner::Compare(
    ItemState& item, const DirectoryEntry& e) {
  // An empty hash marks a file the engine knows to differ from the record.
  if (e.size == item.file_size && e.mtime == item.file_mtime &&
      !item.file_hash.empty() && Trusted(item)) {
    return std::optional<DesktopChange>();
  }
  Result<std::optional<DesktopChange>> change =
      Read(e, SideChange::kChanged, &item);
  if (!change.ok() || !change->has_value()) return change;
  if ((*change)->hash == item.file_hash) {
    item.file_size = e.size;
    item.file_mtime = e.mtime;
    item.file_checked = e.checked;
    return std::optional<DesktopChange>();
  }
  (*change)->uid = item.uid;
  return change;
}

Result<std::vector<DesktopChange>> DirectoryScanner::Scan() {
  Result<std::vector<DirectoryEntry>> entries =
      files_.List(adapter_.extension());
  if (!entries.ok()) return entries.status();
  // The state's items by file name; each entry found is taken out, so what
  // is left at the end are the files that went.
  std::unordered_map<std::string_view, ItemState*> by_file;
  by_file.reserve(state_.items.size());
  for (auto& [uid, item] : state_.items) by_file.emplace(item.file, &item);
  std::vector<DesktopChange> changes;
  for (const DirectoryEntry& entry : *entries) {
    auto known = by_file.find(entry.name);
    if (known != by_file.end()) {
      ItemState& item = *known->second;
      by_file.erase(known);
      Result<std::optional<DesktopChange>> change = Compare(item, entry);
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
  std::vector<const ItemState*> gone;
  gone.reserve(by_file.size());
  for (const auto& [file, item] : by_file) gone.push_back(item);
  // In the order of the files' names, whatever the hash table's is.
  std::sort(
      gone.begin(), gone.end(),
      [](const ItemState* a, const ItemState* b) { return a->file < b->file; });
  for (const ItemState* item : gone) {
    DesktopChange change;
    change.kind = SideChange::kDeleted;
    change.file = item->file;
    change.uid = item->uid;
    changes.push_back(std::move(change));
  }
  return changes;
}

}  // namespace desktop
