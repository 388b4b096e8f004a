// Synchronises one data type of a handheld with a vdir collection (contacts
// in DIR/contacts/, one vCard 4.0 file per contact named after its UID;
// appointments and tasks in DIR/calendar/ and DIR/tasks/), under
// a contract of the handheld's change tracking. The parts by job:
// HandheldChangeReader and DirectoryScanner find what each side changed
// since the last run, SyncReconciler (with ConflictResolver) plans what to
// do, HandheldApplier and DirectoryApplier do it; a SyncAdapter says how
// one data type's records and files look.
//
// A run:
//  1. Machine id, state (a mirror of the old layout is migrated first; new
//     files of a cut run that are in place are paired), contract. Everything is
//     compared (a full run) when the handheld has no contract, the directory no
//     state or another partner's or handheld's, the last full run did not
//     finish, or the change list failed: the contract's mark moves to "now"
//     first, then every record is fetched and compared with the state.
//     Otherwise GetChangedRecords lists the changes and only those records are
//     fetched.
//  2. The directory is compared with the state (two-way runs).
//  3. The plan: each side's changes go to the other side; changes on both
//     sides are conflicts settled by the policy, the loser kept under
//     DIR/.vorn-conflicts/. A plan that deletes more than half of the
//     records on either side is refused unless forced (nothing changed).
//  4. Writes to the handheld (journaled first), then files.
//  5. Before the mark moves, the change list is asked for again; what is
//     new in it is fetched and applied (conflicts included), and this is
//     repeated until nothing new comes, so an edit on the handheld during
//     the run is only missed if it falls into the last round trip before
//     UpdateContract (which stores the sequence current when it is
//     served).
//  6. UpdateContract, then the state.
//
// A run cut anywhere loses nothing: the mark only moves at the end, files
// are renamed into place complete, and the state remembers what each side
// looked like after the last confirmed step (see HandheldApplier for the
// writes to the handheld). The next run sees the same changes again and
// finds the ones already carried over equal on both sides.
//
// One-way runs (two_way false) only carry the handheld's changes into the
// directory; a full one-way run also puts back files changed or deleted in
// the directory and removes files the handheld does not have.
//
// Limits of the handheld's reply buffer: a full run lists at most
// kMaxListedOids records, and a change list holds at most kMaxChanges
// entries (beyond that the handheld ends the conversation; the engine then
// marks the directory for a full run).
#ifndef VORN_DESKTOP_SYNC_SYNC_ENGINE_H_
#define VORN_DESKTOP_SYNC_SYNC_ENGINE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/sync/conflict_resolver.h"
#include "desktop/sync/contact_sync_adapter.h"
#include "desktop/sync/handheld_change_reader.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_reconciler.h"
#include "desktop/sync/sync_state.h"
#include "desktop/sync/sync_state_store.h"
#include "desktop/sync/sync_summary.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

struct SyncProgress {
  const char* phase = "";   // "listing", "fetching", "changes", "confirming"
  std::uint64_t done = 0;   // records handled in this phase
  std::uint64_t total = 0;  // records of the phase; 0 when unknown
};

struct SyncOptions {
  // The contract name (UTF-8). Empty: the one in the directory's state
  // file, else DefaultPartnerName of this host and the directory.
  std::string partner;
  bool two_way = true;
  ConflictPolicy conflict = ConflictPolicy::kHandheld;
  // Carry out a plan that deletes more than half of a side's records.
  bool force = false;
  // Object ids asked for per GetRecords request.
  std::size_t batch_size = 500;
  // Debugging: stop with an error after this many records were fetched, as
  // if the run had been cut there (0: never).
  std::uint64_t stop_after_records = 0;
  // Debugging: stop with an error right after the first batch of files
  // from the handheld was renamed into place, before the state records
  // them.
  bool stop_after_renames = false;
  // Called after every batch and before each look for late changes
  // ("confirming"); may be empty.
  std::function<void(const SyncProgress&)> on_progress;
  // The data type and collection to sync; null: contacts. Must outlive the
  // engine.
  const SyncAdapter* adapter = nullptr;
  // Stored in the state as the zone of the calendar files ("" keeps the
  // stored one).
  std::string time_zone;
};

class SyncEngine {
 public:
  // Most object ids one GetAllRecords reply can carry.
  static constexpr std::uint32_t kMaxListedOids = 55294;
  // Most change entries one GetChangedRecords reply can carry.
  static constexpr std::uint32_t kMaxChanges = 44235;
  // Most rounds of asking for late changes before the mark moves.
  static constexpr int kLateRounds = 20;

  // Works with `client` on one data type of its handheld and the mirror
  // `dir`. `counter`, when given, is the stream under `client`; its read
  // count gives the summary's bytes. All must outlive the engine.
  SyncEngine(HandheldClient& client, MirrorDirectory& dir, SyncOptions options,
             const SyncCountingStream* counter = nullptr);
  SyncEngine(const SyncEngine&) = delete;
  SyncEngine& operator=(const SyncEngine&) = delete;

  // One run. Fails on a broken stream, a reply of the wrong shape, a
  // contract the handheld refuses, a directory that cannot be written, or
  // a plan that needs `force`; the contract's mark has not moved past
  // anything unapplied then.
  Result<SyncSummary> Run();

  // "vorn-HOST-XXXXXXXX": the host name (non-alphanumerics as '_', at most
  // 32 characters) and the 32-bit FNV-1a hash of the directory's absolute
  // path in hexadecimal.
  static std::string DefaultPartnerName(std::string_view host,
                                        std::string_view absolute_dir);
  // The handheld's contract of `partner` for one collection. A contract
  // holds one mark while each data type's change log counts on its own,
  // so each type has a contract of its own: contacts the partner name
  // itself, the others "PARTNER/COLLECTION" ("PARTNER/calendar").
  static std::string ContractName(std::string_view partner,
                                  std::string_view collection);

 private:
  Status Prepare(std::optional<SyncState>& state);
  Status OpenCollection(bool legacy);
  Result<std::vector<HandheldChange>> HandheldSide();
  Result<std::vector<HandheldChange>> ReadEverything();
  Result<std::vector<DesktopChange>> DirectorySide(
      const std::vector<HandheldChange>& handheld);
  Status CheckDeletions(const SyncPlan& plan) const;
  Status ApplyPlan(const SyncPlan& plan);
  Status ApplyLateChanges();
  Result<ChangeList> ChangedRecords();
  Status Finish();
  Status SaveState() { return store_->Save(state_); }
  // File stamps older than the last run's start can be trusted.
  std::int64_t TrustedBefore() const { return last_run_start_ * 1'000'000'000; }
  CollectionState& collection() {
    return state_.collections[adapter_.collection()];
  }
  // Whether a full run of this engine's collection was cut (or one of an
  // older program, which kept one flag for every collection).
  bool FullRunPending(const SyncState& state) const;
  void Report(const char* phase, std::uint64_t done, std::uint64_t total);

  HandheldClient& client_;
  MirrorDirectory& top_;
  SyncOptions options_;
  const SyncCountingStream* counter_;
  ContactSyncAdapter contacts_;
  const SyncAdapter& adapter_;
  std::unique_ptr<MirrorDirectory> files_;
  std::unique_ptr<HandheldChangeReader> reader_;
  std::unique_ptr<ConflictResolver> resolver_;
  std::u16string partner16_;
  bool contract_exists_ = false;
  std::size_t applied_ = 0;  // change list entries applied so far
  std::int64_t run_start_ = 0;
  std::int64_t last_run_start_ = 0;  // of the run before, 0 if unknown
  std::string stamp_;                // REV of this run's writes
  std::unique_ptr<SyncStateStore> store_;
  SyncState state_;
  SyncSummary summary_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_ENGINE_H_
