#include "desktop/sync/sync_engine.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "desktop/base/utf16.h"
#include "desktop/sync/directory_applier.h"
#include "desktop/sync/directory_scanner.h"
#include "desktop/sync/handheld_applier.h"
#include "desktop/sync/legacy_mirror_migration.h"
#include "desktop/sync/utc_stamp.h"

namespace desktop {

namespace {

constexpr char kDisplayNameFile[] = "displayname";

}  // namespace

SyncEngine::SyncEngine(HandheldClient& client, MirrorDirectory& dir,
                       SyncOptions options, const SyncCountingStream* counter)
    : client_(client),
      top_(dir),
      options_(std::move(options)),
      counter_(counter),
      adapter_(options_.adapter ? *options_.adapter : contacts_) {
  if (options_.batch_size == 0) options_.batch_size = 1;
}

std::string SyncEngine::DefaultPartnerName(std::string_view host,
                                           std::string_view absolute_dir) {
  std::string name = "vorn-";
  for (char c : host.substr(0, 32)) {
    bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                (c >= '0' && c <= '9') || c == '-' || c == '.';
    name += keep ? c : '_';
  }
  std::uint32_t hash = 2166136261u;
  for (char c : absolute_dir) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 16777619u;
  }
  char hex[16];
  std::snprintf(hex, sizeof hex, "-%08x", hash);
  return name + hex;
}

std::string SyncEngine::ContractName(std::string_view partner,
                                     std::string_view collection) {
  std::string name(partner);
  if (collection != "contacts") name += "/" + std::string(collection);
  return name;
}

void SyncEngine::Report(const char* phase, std::uint64_t done,
                        std::uint64_t total) {
  if (options_.on_progress) options_.on_progress({phase, done, total});
}

Result<SyncSummary> SyncEngine::Run() {
  auto started = std::chrono::steady_clock::now();
  std::uint64_t bytes_before = counter_ ? counter_->bytes_read() : 0;
  run_start_ = static_cast<std::int64_t>(std::time(nullptr));
  stamp_ = BasicUtcStamp(run_start_);
  summary_.two_way = options_.two_way;

  Result<std::u16string> machine = client_.GetMachineId();
  if (!machine.ok()) return machine.status();
  summary_.machine_id = Utf16ToUtf8(*machine);
  store_ = std::make_unique<SyncStateStore>(top_);
  Result<std::optional<SyncState>> state = store_->Load();
  if (!state.ok()) return state.status();
  bool legacy = *state && (*state)->legacy;
  VORN_RETURN_IF_ERROR(Prepare(*state));
  VORN_RETURN_IF_ERROR(OpenCollection(legacy));
  VORN_RETURN_IF_ERROR(DirectoryApplier::Recover(*files_, collection()));

  FetchOptions fetch;
  fetch.batch_size = options_.batch_size;
  fetch.stop_after_records = options_.stop_after_records;
  fetch.report = [this](const char* phase, std::uint64_t done,
                        std::uint64_t total) { Report(phase, done, total); };
  reader_ = std::make_unique<HandheldChangeReader>(
      client_, adapter_, collection(), summary_.machine_id, fetch);
  resolver_ = std::make_unique<ConflictResolver>(
      options_.conflict, state_.last_run_epoch, run_start_);

  Result<std::vector<HandheldChange>> handheld = HandheldSide();
  if (!handheld.ok()) return handheld.status();
  HandheldApplier::Recover(collection(), *handheld);
  Result<std::vector<DesktopChange>> desktop = DirectorySide(*handheld);
  if (!desktop.ok()) return desktop.status();

  SyncReconciler reconciler(adapter_, collection(), *resolver_, stamp_);
  SyncPlan plan = reconciler.Plan(*handheld, std::move(*desktop));
  VORN_RETURN_IF_ERROR(CheckDeletions(plan));
  VORN_RETURN_IF_ERROR(ApplyPlan(plan));
  VORN_RETURN_IF_ERROR(ApplyLateChanges());
  VORN_RETURN_IF_ERROR(Finish());

  summary_.records_fetched = reader_->records_fetched();
  summary_.bytes_received =
      counter_ ? counter_->bytes_read() - bytes_before : 0;
  summary_.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started)
          .count();
  return summary_;
}

bool SyncEngine::FullRunPending(const SyncState& state) const {
  auto items = state.collections.find(adapter_.collection());
  return state.full_mirror_pending || (items != state.collections.end() &&
                                       items->second.full_mirror_pending);
}

Status SyncEngine::Prepare(std::optional<SyncState>& state) {
  std::string partner = options_.partner;
  if (partner.empty() && state) partner = state->partner;
  if (partner.empty()) {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
    char* absolute = realpath(top_.path().c_str(), nullptr);
    std::string dir = absolute ? absolute : top_.path();
    std::free(absolute);
    partner = DefaultPartnerName(host, dir);
  }
  summary_.partner = partner;
  partner16_ = Utf8ToUtf16(ContractName(partner, adapter_.collection()));

  Result<bool> found = client_.FindContract(adapter_.type(), partner16_);
  if (!found.ok()) return found.status();
  contract_exists_ = *found;

  if (!contract_exists_) {
    summary_.full_reason =
        "the handheld has no contract \"" + Utf16ToUtf8(partner16_) + "\"";
  } else if (!state) {
    summary_.full_reason = "the directory has no sync state";
  } else if (state->partner != partner) {
    summary_.full_reason =
        "the directory mirrored contract \"" + state->partner + "\"";
  } else if (state->machine_id != summary_.machine_id) {
    summary_.full_reason = "the directory mirrored another handheld";
  } else if (FullRunPending(*state)) {
    summary_.full_reason = "the last full mirror did not finish";
  }
  summary_.full = !summary_.full_reason.empty();
  if (state) state_ = std::move(*state);
  // The one flag of an older program's state stood for every collection.
  if (state_.full_mirror_pending) {
    for (auto& [name, items] : state_.collections) {
      items.full_mirror_pending = true;
    }
    state_.full_mirror_pending = false;
  }
  last_run_start_ = state_.last_run_epoch;
  // Pairings made with another handheld mean nothing for this one; the
  // files stay and are compared as new ones.
  if (state && state_.machine_id != summary_.machine_id) {
    state_.collections.clear();
  }
  state_.partner = partner;
  state_.machine_id = summary_.machine_id;
  if (!options_.time_zone.empty()) state_.time_zone = options_.time_zone;
  if (!state) collection().full_mirror_pending = true;
  return Status::Ok();
}

Status SyncEngine::OpenCollection(bool legacy) {
  Result<std::unique_ptr<MirrorDirectory>> files =
      top_.OpenSubdirectory(adapter_.collection());
  if (!files.ok()) return files.status();
  files_ = std::move(*files);
  Result<std::optional<std::string>> name = files_->ReadFile(kDisplayNameFile);
  if (!name.ok()) return name.status();
  if (*name != adapter_.display_name()) {
    VORN_RETURN_IF_ERROR(
        files_->WriteFileDurably(kDisplayNameFile, adapter_.display_name()));
  }
  // The old layout only ever held contacts.
  if (adapter_.type() != protocol::DataType::kContacts) return Status::Ok();
  if (legacy) {
    Result<std::size_t> moved =
        LegacyMirrorMigration::Run(top_, *files_, adapter_, stamp_, state_,
                                   [this] { return SaveState(); });
    if (!moved.ok()) return moved.status().WithContext("migrating the mirror");
    summary_.migrated = true;
  }
  return LegacyMirrorMigration::RemoveLeftovers(top_, adapter_, collection());
}

Result<ChangeList> SyncEngine::ChangedRecords() {
  Result<ChangeList> changes =
      client_.GetChangedRecords(adapter_.type(), partner16_);
  if (changes.ok()) return changes;
  // The handheld ends the conversation when its change list overflows the
  // reply. Nothing but a full run can catch up then, so the next run makes
  // one (a cut that merely happened here costs that run a full comparison,
  // never a lost change).
  collection().full_mirror_pending = true;
  (void)SaveState();
  return changes.status().WithContext(
      "listing the changes failed (more than " + std::to_string(kMaxChanges) +
      " changes since the last run end the conversation; the next run "
      "compares everything)");
}

Result<std::vector<HandheldChange>> SyncEngine::HandheldSide() {
  if (!summary_.full) {
    Result<ChangeList> list = ChangedRecords();
    if (!list.ok()) return list.status();
    if (!list->header.failed && list->header.complete) {
      applied_ = list->changes.size();
      return reader_->ReadList(list->changes, "changes");
    }
    summary_.full = true;
    summary_.full_reason = "the handheld could not list the changes";
  }
  return ReadEverything();
}

Result<std::vector<HandheldChange>> SyncEngine::ReadEverything() {
  collection().full_mirror_pending = true;
  VORN_RETURN_IF_ERROR(SaveState());
  if (!contract_exists_) {
    VORN_RETURN_IF_ERROR(client_.AddContract(adapter_.type(), partner16_));
    contract_exists_ = true;
    summary_.contract_added = true;
  }
  // The mark moves to "now" first: the change list asked for at the end
  // then holds exactly what changed while this run went on. If the run is
  // cut, the pending flag makes the next run full again.
  VORN_RETURN_IF_ERROR(client_.UpdateContract(adapter_.type(), partner16_));
  applied_ = 0;
  Result<std::uint32_t> count = client_.GetRecordCount(adapter_.type());
  if (!count.ok()) return count.status();
  if (*count > kMaxListedOids) {
    return Status::Error("the handheld has " + std::to_string(*count) +
                         " records; one listing carries at most " +
                         std::to_string(kMaxListedOids) +
                         ", so they cannot be compared whole");
  }
  Report("listing", 0, *count);
  if (!options_.two_way) {
    // A one-way full run rewrites what differs: every record counts as
    // changed, and the applier leaves files that are equal alone.
    for (auto& [uid, item] : collection().items) item.handheld_hash.clear();
  }
  VORN_RETURN_IF_ERROR(files_->RemoveStrayTemporaries());
  return reader_->ReadAll("fetching");
}

Result<std::vector<DesktopChange>> SyncEngine::DirectorySide(
    const std::vector<HandheldChange>& handheld) {
  if (!options_.two_way && !summary_.full) {
    return std::vector<DesktopChange>();
  }
  // Temporary files of runs cut short are swept (nothing is staged yet).
  VORN_RETURN_IF_ERROR(files_->RemoveStrayTemporaries());
  DirectoryScanner scanner(adapter_, *files_, collection(), summary_.notes,
                           TrustedBefore());
  Result<std::vector<DesktopChange>> changes = scanner.Scan();
  if (!changes.ok() || options_.two_way) return changes;
  // One-way: files the handheld does not have go; the others are
  // rewritten from the handheld's records (all of which count as changed).
  // Files that carry the UID of a handheld record are that record's files.
  std::map<std::string, std::uint32_t> oids;
  for (const HandheldChange& change : handheld) oids[change.uid] = change.oid;
  std::vector<DesktopChange> removals;
  for (DesktopChange& change : *changes) {
    auto oid = oids.find(change.uid);
    if (change.kind == SideChange::kAdded && oid != oids.end() &&
        collection().items.count(change.uid) == 0) {
      ItemState& item = collection().items[change.uid];
      item.uid = change.uid;
      item.oid = oid->second;
      item.file = change.file;
      continue;
    }
    if (change.kind == SideChange::kAdded) {
      change.kind = SideChange::kDeleted;
      change.uid.clear();
      removals.push_back(std::move(change));
    }
  }
  for (const DesktopChange& removal : removals) {
    Result<bool> removed = files_->RemoveFile(removal.file);
    if (!removed.ok()) return removed.status();
    if (*removed) ++summary_.deleted;
  }
  return std::vector<DesktopChange>();
}

Status SyncEngine::CheckDeletions(const SyncPlan& plan) const {
  if (options_.force) return Status::Ok();
  auto items = state_.collections.find(adapter_.collection());
  std::size_t known =
      items == state_.collections.end() ? 0 : items->second.items.size();
  auto refuse = [&](std::size_t n, const char* where) {
    return Status::Error("refusing to delete " + std::to_string(n) + " of " +
                         std::to_string(known) + " " + adapter_.collection() +
                         " " + where +
                         " (more than half); run again with --force to do it");
  };
  std::size_t on_handheld = plan.handheld_deletions();
  if (on_handheld > 0 && 2 * on_handheld > known) {
    return refuse(on_handheld, "on the handheld");
  }
  std::size_t in_directory = plan.directory_removals();
  if (in_directory > 0 && 2 * in_directory > known) {
    return refuse(in_directory, "in the directory");
  }
  return Status::Ok();
}

Status SyncEngine::ApplyPlan(const SyncPlan& plan) {
  CollectionState& items = collection();
  for (const std::string& uid : plan.forgotten) items.items.erase(uid);
  for (const auto& [h, d] : plan.agreed) {
    ItemState& item = items.items[h.uid];
    item.uid = h.uid;
    item.oid = h.oid;
    item.file = d.file;
    item.file_hash = d.hash;
    item.file_size = d.entry.size;
    item.file_mtime = d.entry.mtime;
    item.file_checked = d.entry.checked;
    item.handheld_hash = h.hash;
  }
  DirectoryApplier directory(adapter_, top_, *files_, items, summary_, stamp_,
                             [this] { return SaveState(); });
  if (options_.stop_after_renames) directory.StopAfterRenames();
  VORN_RETURN_IF_ERROR(directory.KeepCopies(plan.copies));
  HandheldApplier handheld(client_, adapter_, *files_, items, summary_,
                           summary_.machine_id, stamp_,
                           [this] { return SaveState(); });
  VORN_RETURN_IF_ERROR(handheld.Apply(plan.pushes));
  VORN_RETURN_IF_ERROR(directory.Apply(plan.pulls));
  VORN_RETURN_IF_ERROR(files_->SyncDirectory());
  return SaveState();
}

Status SyncEngine::ApplyLateChanges() {
  for (int round = 0; round < kLateRounds; ++round) {
    Report("confirming", 0, 0);
    Result<ChangeList> list = ChangedRecords();
    if (!list.ok()) return list.status();
    if (list->header.failed || list->changes.size() <= applied_) break;
    // New entries are newer than every entry applied, so they come first.
    std::size_t fresh = list->changes.size() - applied_;
    applied_ = list->changes.size();
    Result<std::vector<HandheldChange>> changes = reader_->ReadList(
        std::span<const ChangeEntry>(list->changes).first(fresh), "changes");
    if (!changes.ok()) return changes.status();
    if (changes->empty()) continue;
    std::vector<DesktopChange> desktop;
    if (options_.two_way) {
      DirectoryScanner scanner(adapter_, *files_, collection(), summary_.notes,
                               TrustedBefore());
      for (const HandheldChange& change : *changes) {
        auto item = collection().items.find(change.uid);
        if (item == collection().items.end()) continue;
        Result<std::optional<DesktopChange>> d = scanner.ScanItem(item->second);
        if (!d.ok()) return d.status();
        if (d->has_value()) desktop.push_back(std::move(**d));
      }
    }
    SyncReconciler reconciler(adapter_, collection(), *resolver_, stamp_);
    VORN_RETURN_IF_ERROR(
        ApplyPlan(reconciler.Plan(*changes, std::move(desktop))));
  }
  return Status::Ok();
}

Status SyncEngine::Finish() {
  Report("finishing", 0, 0);
  VORN_RETURN_IF_ERROR(files_->SyncDirectory());
  VORN_RETURN_IF_ERROR(client_.UpdateContract(adapter_.type(), partner16_));
  collection().full_mirror_pending = false;
  state_.last_run = SyncState::NowUtc();
  state_.last_run_epoch = run_start_;
  state_.last_run_kind = summary_.full ? "full" : "incremental";
  return SaveState();
}

}  // namespace desktop
