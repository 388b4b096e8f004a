// The stages of a full mirror measured one at a time, and the push of new
// contacts: what bounds the mirror's speed and where its time goes.
//
//  - Serving: the handheld answering the mirror's GetRecords packets alone,
//    replayed in process with the replies counted and dropped.
//  - Decoding: the desktop turning the same replies into vCard text alone
//    (wire record, Contact, vCard), from memory.
//  - File floor: the same number of files of the same sizes written with
//    the mirror's pattern (temporary file, write, one flush of the file
//    system per batch, rename, fsync of the directory at the end).
//  - Push: new contacts written to a handheld with BatchWrite over a
//    loopback socket.
//  - Commit cost: what a durable commit (synchronous=FULL) adds to each
//    packet served from an image file.
#ifndef VORN_BENCH_SUPPORT_STAGE_BENCHMARKS_H_
#define VORN_BENCH_SUPPORT_STAGE_BENCHMARKS_H_

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "bench/support/bench_handheld.h"
#include "desktop/wire/wire_record.h"
#include "protocol/wire.h"

namespace bench {

// A data type as the mirror fetches it: its records' layout and the file
// text each record makes.
struct RecordKind {
  protocol::DataType type;
  desktop::PropertyKindFn layout;
  std::function<std::string(const desktop::WireRecord&)> render;
};

// Contacts, as vCard text.
RecordKind ContactKind();

// The GetRecords conversation of a full fetch, recorded once over a
// loopback socket: the request frames sent (end of session included), the
// reply frames received, the chunks of object ids asked for, and the file
// text the records make.
struct FetchRecording {
  RecordKind kind;
  std::vector<std::uint8_t> requests;
  std::vector<std::uint8_t> replies;
  std::vector<std::vector<std::uint32_t>> chunks;
  std::vector<std::uint32_t> oids;  // of the records, in order
  std::vector<std::string> cards;   // file text of each record
};

// Fetches every contact of `handheld` in chunks of `chunk` object ids, as
// the sync engine does.
FetchRecording RecordFetch(Handheld& handheld, const Listener& listener,
                           std::size_t chunk);
// Fetches the records `oids` of the data type `kind`.
FetchRecording RecordFetch(Handheld& handheld, const Listener& listener,
                           std::size_t chunk, const RecordKind& kind,
                           std::span<const CEOID> oids);

struct StageResult {
  double seconds = 0;
  std::uint64_t items = 0;
  double per_second() const {
    return seconds > 0 ? static_cast<double>(items) / seconds : 0;
  }
};

// Feeds `requests` (whole request frames, end of session included) to the
// handheld in process; returns the reply bytes it wrote, which are dropped.
std::uint64_t ServeInProcess(Handheld& handheld,
                             const std::vector<std::uint8_t>& requests);

// Replays the recorded requests to the handheld in process; items are the
// records served. Dies when the replies differ in length from the
// recording.
StageResult MeasureServing(Handheld& handheld, const FetchRecording& fetch);

// Decodes the recorded replies from memory and renders each record as file
// text; items are the texts made. Dies when one differs from the one
// recorded.
StageResult MeasureDecoding(const FetchRecording& fetch);

// Writes the recorded cards as files into a fresh directory under the
// mirror's root, in batches of `batch` as the mirror does; items are the
// files written.
StageResult MeasureFileFloor(const FetchRecording& fetch, std::size_t batch);

// Writes `count` new contacts to a fresh handheld with BatchWrite over a
// loopback socket (connect to end of session); items are the contacts the
// handheld confirmed. On the image file `image` when given, else in memory.
StageResult MeasurePush(const Listener& listener, std::uint32_t count,
                        const std::string& image = "");

struct CommitCost {
  double full_ms_per_packet = 0;  // synchronous=FULL, as the handheld runs
  double off_ms_per_packet = 0;   // no flush at all, for comparison
  double cost_ms() const { return full_ms_per_packet - off_ms_per_packet; }
  std::string directory;
};

// Serves `packets` one-contact BatchWrite packets from an image file in a
// directory on disk (/var/tmp unless TMPDIR names one), once as the handheld
// runs and once without flushing, and reports the time per packet.
CommitCost MeasureCommitCost(const Listener& listener, std::uint32_t packets);

// Removes a directory made by the measurements.
void RemoveTree(const std::string& path);

}  // namespace bench

#endif  // VORN_BENCH_SUPPORT_STAGE_BENCHMARKS_H_
