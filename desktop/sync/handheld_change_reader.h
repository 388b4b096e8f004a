// Finds what changed on the handheld since the last run: from the
// contract's change list (incremental) or by fetching every record
// (full comparison), each record compared with the content hash the state
// kept. A record whose content equals what the last run saw or wrote is
// no change, so the echo of the engine's own writes costs a fetch, never a
// rewrite.
#ifndef VORN_DESKTOP_SYNC_HANDHELD_CHANGE_READER_H_
#define VORN_DESKTOP_SYNC_HANDHELD_CHANGE_READER_H_

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/sync_state.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

struct FetchOptions {
  std::size_t batch_size = 500;
  std::uint64_t stop_after_records = 0;  // 0: never
  std::function<void(const char*, std::uint64_t, std::uint64_t)> report;
};

class HandheldChangeReader {
 public:
  HandheldChangeReader(HandheldClient& client, const SyncAdapter& adapter,
                       const CollectionState& state, std::string machine_id,
                       FetchOptions options)
      : client_(client),
        adapter_(adapter),
        state_(state),
        machine_id_(std::move(machine_id)),
        options_(std::move(options)) {}

  // Every record compared with the state (records the state knows and the
  // handheld lacks are deletions).
  Result<std::vector<HandheldChange>> ReadAll(const char* phase);
  // The changes of a change list (newest first; the newest entry per
  // object id counts).
  Result<std::vector<HandheldChange>> ReadList(
      std::span<const ChangeEntry> list, const char* phase);

  std::uint64_t records_fetched() const { return fetched_; }

 private:
  // Fetches `oids`; the ones the handheld could not fetch go to `missing`.
  Status Fetch(std::span<const std::uint32_t> oids, const char* phase,
               std::vector<HandheldItem>* items,
               std::vector<std::uint32_t>* missing);
  // Compares with the state and appends the changes.
  void Classify(const std::vector<HandheldItem>& items,
                const std::vector<std::uint32_t>& deleted,
                std::vector<HandheldChange>* out) const;

  HandheldClient& client_;
  const SyncAdapter& adapter_;
  const CollectionState& state_;
  std::string machine_id_;
  FetchOptions options_;
  std::uint64_t fetched_ = 0;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_HANDHELD_CHANGE_READER_H_
