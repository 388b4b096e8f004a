// Mirrors a handheld's contacts into a desktop directory, one vCard 4.0
// file per contact ("<oid>.vcf"), under a contract of the handheld's change
// tracking.
//
// Full mirror (no contract on the handheld, no or foreign state in the
// directory, an unfinished full mirror, or a change list the handheld
// reports as failed): the state file is marked "full mirror pending", the
// contract is added when missing and its mark moved to the handheld's
// current change sequence; then every contact is listed (GetAllRecords),
// fetched (GetRecords, in batches) and written, cards of contacts the
// handheld no longer has are removed, and the changes made on the handheld
// meanwhile are applied as in an incremental run.
//
// Incremental run: GetChangedRecords for the contract; for each object id
// the newest entry wins (entries come newest first): added or changed ones
// are fetched and written, deleted ones (and ones the handheld can no
// longer fetch) removed. Before the mark moves, the change list is asked
// for again and what was added to it during the run is applied too, until
// it stops growing.
//
// The mark moves (UpdateContract) only after every change of the run was
// written and the directory flushed, so a run cut anywhere leaves the
// directory consistent and the next run repeats what was not confirmed. The
// protocol leaves one window: UpdateContract stores the handheld's sequence
// at the moment it is served, so an edit made on the handheld between the
// last change list and UpdateContract (one round trip) would be skipped.
//
// Limits of the handheld's reply buffer: a full mirror lists at most
// kMaxListedOids contacts, and a change list holds at most kMaxChanges
// entries (beyond that the handheld ends the conversation; the engine then
// marks the directory for a full mirror).
#ifndef VORN_DESKTOP_SYNC_SYNC_ENGINE_H_
#define VORN_DESKTOP_SYNC_SYNC_ENGINE_H_

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_state.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

struct SyncProgress {
  const char* phase = "";   // "listing", "fetching", "changes", "finishing"
  std::uint64_t done = 0;   // records handled in this phase
  std::uint64_t total = 0;  // records of the phase; 0 when unknown
};

struct SyncOptions {
  // The contract name (UTF-8). Empty: the one in the directory's state
  // file, else DefaultPartnerName of this host and the directory.
  std::string partner;
  // Object ids asked for per GetRecords request (the client asks again for
  // what did not fit in one reply).
  std::size_t batch_size = 500;
  // Debugging: stop with an error after this many records were fetched, as
  // if the run had been cut there (0: never).
  std::uint64_t stop_after_records = 0;
  // Called after every batch; may be empty.
  std::function<void(const SyncProgress&)> on_progress;
};

struct SyncSummary {
  std::string partner;
  std::string machine_id;
  bool full = false;
  std::string full_reason;  // why a full mirror was made
  bool contract_added = false;
  std::uint64_t added = 0;
  std::uint64_t changed = 0;
  std::uint64_t deleted = 0;
  std::uint64_t unchanged = 0;  // full mirrors: cards that were up to date
  std::uint64_t records_fetched = 0;
  std::uint64_t bytes_received = 0;  // 0 without a counting stream
  double seconds = 0;
};

class SyncEngine {
 public:
  // Most object ids one GetAllRecords reply can carry.
  static constexpr std::uint32_t kMaxListedOids = 55294;
  // Most change entries one GetChangedRecords reply can carry.
  static constexpr std::uint32_t kMaxChanges = 44235;

  // Works with `client` on the contacts of its handheld and writes `dir`.
  // `counter`, when given, is the stream under `client`; its read count
  // gives the summary's bytes. All must outlive the engine.
  SyncEngine(HandheldClient& client, MirrorDirectory& dir, SyncOptions options,
             const SyncCountingStream* counter = nullptr);
  SyncEngine(const SyncEngine&) = delete;
  SyncEngine& operator=(const SyncEngine&) = delete;

  // One run. Fails on a broken stream, a reply of the wrong shape, a
  // contract the handheld refuses, or a directory that cannot be written;
  // the contract's mark has not moved past anything unwritten then.
  Result<SyncSummary> Run();

  // "vorn-HOST-XXXXXXXX": the host name (non-alphanumerics as '_', at most
  // 32 characters) and the 32-bit FNV-1a hash of the directory's absolute
  // path in hexadecimal. Stable for a host and directory; the state file
  // keeps the name once chosen, so a moved directory keeps its contract.
  static std::string DefaultPartnerName(std::string_view host,
                                        std::string_view absolute_dir);

 private:
  // The newest change per object id, in the order met.
  struct Change {
    std::uint32_t oid;
    std::uint8_t kind;
  };
  static std::vector<Change> NewestPerOid(std::span<const ChangeEntry> list);

  // Chooses the partner name and whether the run must be full.
  Status Prepare(const std::optional<SyncState>& state);
  Status RunFull();
  // Applies a change list (newest first).
  Status ApplyChanges(std::span<const ChangeEntry> list);
  // Asks for the change list again until nothing was added since `applied`,
  // applying what was.
  Status ApplyLateChanges(std::size_t applied);
  // Fetches `oids` in batches and writes their cards. With `compare`,
  // cards whose text is already in place are left alone and counted as
  // unchanged. Object ids the handheld could not fetch go to `missing`.
  Status FetchAndWrite(std::span<const std::uint32_t> oids, bool compare,
                       const char* phase, std::vector<std::uint32_t>* missing);
  // Removes the card of `oid`, counting it as deleted when there was one.
  Status Remove(std::uint32_t oid);
  Result<ChangeList> ChangedRecords();
  Status Finish();
  void Report(const char* phase, std::uint64_t done, std::uint64_t total);

  HandheldClient& client_;
  MirrorDirectory& dir_;
  SyncOptions options_;
  const SyncCountingStream* counter_;
  std::u16string partner16_;
  bool contract_exists_ = false;
  SyncState state_;
  SyncSummary summary_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_ENGINE_H_
